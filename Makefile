# The commands of the README. Each installs what is missing, builds, and does its job.

JOBS := $(shell nproc)
PREFIX ?= /usr/local
SANITIZED := asan tsan

.PHONY: help run test test-debug test-asan test-tsan bench format lint install clean

help:
	@echo "make run      build netinfo and watch this machine's links (Ctrl-C ends it)"
	@echo "make test     build and test: plain, and under the address, undefined and thread sanitizers"
	@echo "make bench    build and run the benchmarks"
	@echo "make lint     check the formatting and run clang-tidy"
	@echo "make format   format the sources in place"
	@echo "make install  install below PREFIX ($(PREFIX)), honouring DESTDIR"

build/release/build.ninja build/debug/build.ninja build/asan/build.ninja build/tsan/build.ninja build/bench/build.ninja:
	cmake --preset $(notdir $(patsubst %/,%,$(dir $@)))

run:
	@tools/install-packages build
	@$(MAKE) --no-print-directory build/release/build.ninja
	cmake --build --preset release
	build/release/bin/netinfo run

test:
	@tools/install-packages build test
	@$(MAKE) --no-print-directory test-debug
	@$(MAKE) --no-print-directory test-asan
	@$(MAKE) --no-print-directory test-tsan

test-debug test-asan test-tsan: test-%: build/%/build.ninja
	cmake --build --preset $*
	ctest --preset $* --parallel $(JOBS) --label-exclude netns
	ctest --preset $* --label-regex netns --parallel 1  # real time: one after the other

bench:
	@tools/install-packages build bench
	@$(MAKE) --no-print-directory build/bench/build.ninja
	cmake --build --preset bench
	tools/run-benchmarks build/bench

format:
	@tools/install-packages lint
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

lint:
	@tools/install-packages build test lint
	git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run -Werror
	@$(MAKE) --no-print-directory build/debug/build.ninja
	git ls-files '*.cpp' ':!tests' ':!bench' ':!fuzz' ':!examples' | xargs -P $(JOBS) -n 4 clang-tidy -p build/debug --quiet

install:
	@tools/install-packages build
	@$(MAKE) --no-print-directory build/release/build.ninja
	cmake --build --preset release
	cmake --install build/release --prefix $(PREFIX)

clean:
	rm -rf build

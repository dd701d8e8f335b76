# The commands of the README. Each installs what is missing, builds, and does its job.

JOBS := $(shell nproc)
PREFIX ?= /usr/local
SANITIZED := asan tsan
FUZZ_SECONDS ?= 1800
SOAK_SECONDS ?= 60

.PHONY: help run test test-debug test-asan test-tsan test-fuzz fuzz soak bench format lint install package clean

help:
	@echo "make run      build netinfo and watch this machine's links (Ctrl-C ends it)"
	@echo "make test     build and test: plain, under the address, undefined and thread sanitizers, and by fuzzers"
	@echo "make fuzz     let every fuzzer look for findings for FUZZ_SECONDS ($(FUZZ_SECONDS))"
	@echo "make soak     the tests of endurance in their long form (SOAK_SECONDS, $(SOAK_SECONDS)), then make fuzz"
	@echo "make bench    build and run the benchmarks"
	@echo "make lint     check the formatting and run clang-tidy"
	@echo "make format   format the sources in place"
	@echo "make install  install below PREFIX ($(PREFIX)), honouring DESTDIR"
	@echo "make package  make the Debian packages, in build/packages"

build/release/build.ninja build/debug/build.ninja build/asan/build.ninja build/tsan/build.ninja \
build/fuzz/build.ninja build/bench/build.ninja:
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
	@$(MAKE) --no-print-directory test-fuzz

test-debug test-asan test-tsan: test-%: build/%/build.ninja
	cmake --build --preset $*
	ctest --preset $* --parallel $(JOBS) --label-exclude netns
	ctest --preset $* --label-regex netns --parallel 1  # real time: one after the other

test-fuzz: build/fuzz/build.ninja
	cmake --build --preset fuzz
	ctest --preset fuzz --parallel $(JOBS)  # half a minute for each fuzzer

fuzz:
	@tools/install-packages build test
	@$(MAKE) --no-print-directory build/fuzz/build.ninja
	cmake --build --preset fuzz
	FUZZ_CORPUS=build/fuzz/fuzz/corpus JOBS=$(JOBS) tools/run-fuzzers build/fuzz $(FUZZ_SECONDS)

soak:
	@tools/install-packages build test
	@$(MAKE) --no-print-directory build/debug/build.ninja build/asan/build.ninja build/tsan/build.ninja
	cmake --build --preset debug --target CrashSafetyTest OddClocksTest
	cmake --build --preset asan --target ModuleTest
	cmake --build --preset tsan --target ServicesConcurrencyTest
	tools/run-soak build $(SOAK_SECONDS)
	@$(MAKE) --no-print-directory fuzz

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

package:
	@tools/install-packages build package
	@$(MAKE) --no-print-directory build/release/build.ninja
	cmake --build --preset release
	cpack --config build/release/CPackConfig.cmake -B build/packages
	@rm -rf build/packages/_CPack_Packages

clean:
	rm -rf build

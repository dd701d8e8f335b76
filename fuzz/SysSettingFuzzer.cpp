// Any bytes as SysSetting.xml, and names of links that are looked for in what was read from it.
//
// Input: three texts, each up to a NUL, and the file.

#include <array>
#include <cstdint>

#include "device/DeviceMgr.h"
#include "fuzz/Input.h"
#include "host/StartChecks.h"
#include "tests/support/ContainerInstalled.h"
#include "tests/support/FakeHost.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"
#include "xml/MarkupSTL.h"

using namespace nettest;

namespace {

/// The folder that the platform names, the same for every input.
const TempDir& ModuleFolder()
{
    static const TempDir folder;
    static const bool named = (FakePlatform::SetModuleDirectory(folder.Path() + "/"), true);
    (void)named;
    return folder;
}

struct Host
{
    FakeConnectionManager manager;
    FakeDeviceManager deviceManager;
    FakeContainer container{&manager, &deviceManager};
    ContainerInstalled installed{container};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const TempDir& modules = ModuleFolder();
    Input input(data, size);
    std::array<std::string, 3> names;
    for (std::string& name : names)
        name = input.Text();
    const std::string path = modules.File("SysSetting.xml");
    WriteFile(path, input.Rest());
    FakePlatform::ClearTraces();

    Require(!netinfo::CheckDataFiles(modules.Path() + "/", modules.Path() + "/"),
            "a file that can be read passes the host's check");

    Host host;
    CDeviceMgr tracker;
    Require(FakePlatform::Traces().empty(), "no content of the file is an anomaly");
    if (!CMarkupSTL().Load(path.c_str()))
        Require(!tracker.ContainCrashSoftKeyWord(U16(names[0])), "a malformed file forbids nothing");

    host.manager.SetDevices({{names[0], 1, {}}});
    host.manager.Report({{names[0], names[1], 1}});
    bool anyForbidden = false;
    std::vector<FakeRow> rows;
    for (const std::string& name : names) {
        const bool forbidden = tracker.ContainCrashSoftKeyWord(U16(name));
        anyForbidden = anyForbidden || forbidden;
        int type = -1;
        CDeviceMgr::U16String device;
        const bool selected = tracker.IsSelected(U16(name), type, device);
        Require(!(selected && forbidden), "no link of conflicting software is counted");
        Require(selected == (type == 1 && device == U16(names[0])) || !selected,
                "a link that is counted belongs to the device that is connected");
        rows.push_back({name, 100, 200, {}});
    }
    Require(!anyForbidden || tracker.ContainCrashSoftKeyWord(U16(names[0] + names[1] + names[2])),
            "a keyword is found anywhere in a longer text");

    FakePlatform::SetRows(rows);
    std::vector<nis::SNAPSHOT> counters;
    const bool counted = tracker.GetSnapShot(counters);
    Require(counted == !counters.empty(), "a snapshot says whether it holds anything");
    Require(FakePlatform::Unreleased() == 0, "every table is given back");
    return 0;
}

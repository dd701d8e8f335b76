#include "host/ConnectionManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using netinfo::ConnectionManager;
using netinfo::Device;
using netinfo::ToText16;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string Narrow(const unsigned short* text) { return text ? netinfo::FromText16(text) : "(null)"; }

Device Link(const std::string& name, int type, const std::string& profile = "home")
{
    return {ToText16(name), ToText16(profile), type};
}

/// What the plug-in does with a report: it lists the devices anew, then walks the entries.
class FakeListener : public INetConnectEvent
{
public:
    explicit FakeListener(ConnectionManager& manager) : m_manager(manager) {}
    virtual ~FakeListener() = default;

    void OnConnectState(INetConnectStatus* pStatus) override
    {
        ++reports;
        listed = List(m_manager);
        for (bool more = pStatus->MoveFirst(); more; more = pStatus->MoveNext()) {
            entries.push_back(Narrow(pStatus->GetDeviceName()) + "=" + std::to_string(pStatus->GetState()) +
                              " " + Narrow(pStatus->GetProfileName()));
        }
        if (throws) throw std::runtime_error("scripted");
    }
    void OnConnectMessage(const unsigned short*) override { ADD_FAILURE() << "nothing sends messages"; }

    static std::vector<std::string> List(ConnectionManager& manager)
    {
        std::vector<std::string> devices;
        IDeviceEnumerator* const enumerator = manager.GetDeviceEnumerator();
        if (!enumerator) return devices;
        for (bool more = enumerator->MoveFirst(); more; more = enumerator->MoveNext()) {
            devices.push_back(Narrow(enumerator->GetDeviceName()) + " " +
                              std::to_string(enumerator->GetConnectionType()));
            EXPECT_EQ(enumerator->GetMAC(), nullptr);
        }
        enumerator->Release();
        return devices;
    }
    std::vector<std::string> TakeEntries() { return std::exchange(entries, {}); }

    int reports = 0;
    bool throws = false;
    std::vector<std::string> entries;  ///< of all reports so far
    std::vector<std::string> listed;   ///< devices during the last report

private:
    ConnectionManager& m_manager;
};

struct ConnectionManagerTest : testing::Test
{
    ConnectionManager manager;
    FakeListener listener{manager};

    void SetUp() override { ASSERT_TRUE(manager.AddConnectListener(&listener)); }
};

}  // namespace

TEST_F(ConnectionManagerTest, ReportsEveryLinkWithItsProfileFirst)
{
    EXPECT_TRUE(manager.Update({Link("/eth0/1/", 4, "eth0"), Link("/wlan0/2/", 1, "café")}));

    EXPECT_THAT(listener.entries, ElementsAre("/eth0/1/=1 eth0", "/wlan0/2/=1 café"));
    EXPECT_THAT(listener.listed, ElementsAre("/eth0/1/ 4", "/wlan0/2/ 1"));
}

TEST_F(ConnectionManagerTest, ReportsNothingWhileThereIsNoLink)
{
    EXPECT_FALSE(manager.Update({}));

    EXPECT_EQ(listener.reports, 0);
    EXPECT_EQ(manager.GetDeviceEnumerator(), nullptr);
}

TEST_F(ConnectionManagerTest, ReportsNothingWithoutAChange)
{
    manager.Update({Link("/eth0/1/", 4)});

    EXPECT_FALSE(manager.Update({Link("/eth0/1/", 4)}));
    EXPECT_EQ(listener.reports, 1);
}

TEST_F(ConnectionManagerTest, ReportsTheFullStatusWhenALinkComes)
{
    manager.Update({Link("/eth0/1/", 4)});
    listener.TakeEntries();

    EXPECT_TRUE(manager.Update({Link("/eth0/1/", 4), Link("/ppp0/2/", 0)}));
    EXPECT_THAT(listener.entries, ElementsAre("/eth0/1/=1 home", "/ppp0/2/=1 home"));
}

TEST_F(ConnectionManagerTest, ReportsALinkThatWentAsDisconnectedAndListsItNoMore)
{
    manager.Update({Link("/eth0/1/", 4), Link("/ppp0/2/", 0)});
    listener.TakeEntries();

    EXPECT_TRUE(manager.Update({Link("/eth0/1/", 4)}));
    EXPECT_THAT(listener.entries, ElementsAre("/eth0/1/=1 home", "/ppp0/2/=0 home"));
    EXPECT_THAT(listener.listed, ElementsAre("/eth0/1/ 4"));
}

TEST_F(ConnectionManagerTest, ReportsTheLastLinkThatWent)
{
    manager.Update({Link("/eth0/1/", 4)});
    listener.TakeEntries();

    EXPECT_TRUE(manager.Update({}));
    EXPECT_THAT(listener.TakeEntries(), ElementsAre("/eth0/1/=0 home"));
    EXPECT_THAT(listener.listed, IsEmpty());
    EXPECT_FALSE(manager.Update({}));
}

TEST_F(ConnectionManagerTest, ReportsANewRunOfCountersAsADeviceOfItsOwn)
{
    manager.Update({Link("/eth0/1/", 4)});
    listener.TakeEntries();

    manager.Update({Link("/eth0/2/", 4)});
    EXPECT_THAT(listener.entries, ElementsAre("/eth0/2/=1 home", "/eth0/1/=0 home"));
}

TEST_F(ConnectionManagerTest, ReportsANewProfileName)
{
    manager.Update({Link("/eth0/1/", 4, "eth0")});
    listener.TakeEntries();

    EXPECT_TRUE(manager.Update({Link("/eth0/1/", 4, "office")}));
    EXPECT_THAT(listener.entries, ElementsAre("/eth0/1/=1 office"));
}

TEST_F(ConnectionManagerTest, LetsADeviceLeaveForOneReportWhenItsTypeChanges)
{
    manager.Update({Link("/eth0/1/", 4), Link("/wlan0/2/", 1)});
    listener.TakeEntries();

    EXPECT_TRUE(manager.Update({Link("/eth0/1/", 0), Link("/wlan0/2/", 1)}));
    EXPECT_THAT(listener.entries, ElementsAre("/wlan0/2/=1 home", "/eth0/1/=0 home",  //
                                              "/eth0/1/=1 home", "/wlan0/2/=1 home"));
    EXPECT_THAT(listener.listed, ElementsAre("/eth0/1/ 0", "/wlan0/2/ 1"));
}

TEST_F(ConnectionManagerTest, ReportsEverythingAgainOnRequest)
{
    manager.ReportAgain();
    EXPECT_EQ(listener.reports, 0);  // nothing is there to report

    manager.Update({Link("/eth0/1/", 4)});
    listener.TakeEntries();
    manager.ReportAgain();
    EXPECT_THAT(listener.entries, ElementsAre("/eth0/1/=1 home"));
}

TEST_F(ConnectionManagerTest, TellsALateListenerAtTheNextUpdate)
{
    manager.Update({Link("/eth0/1/", 4)});
    FakeListener late(manager);
    manager.AddConnectListener(&late);

    EXPECT_TRUE(manager.Update({Link("/eth0/1/", 4)}));
    EXPECT_EQ(late.reports, 1);
    EXPECT_EQ(listener.reports, 1);
}

TEST_F(ConnectionManagerTest, TakesAListenerOnceAndForgetsIt)
{
    EXPECT_FALSE(manager.AddConnectListener(&listener));
    EXPECT_FALSE(manager.AddConnectListener(nullptr));
    EXPECT_TRUE(manager.RemoveConnectListener(&listener));
    EXPECT_FALSE(manager.RemoveConnectListener(&listener));

    EXPECT_FALSE(manager.Update({Link("/eth0/1/", 4)}));
    EXPECT_EQ(listener.reports, 0);
}

TEST_F(ConnectionManagerTest, SurvivesAListenerThatThrows)
{
    FakeListener second(manager);
    manager.AddConnectListener(&second);
    listener.throws = true;

    manager.Update({Link("/eth0/1/", 4)});

    EXPECT_EQ(second.reports, 1);
}

TEST_F(ConnectionManagerTest, AnswersNeutrallyBesideTheEntries)
{
    manager.Update({Link("/eth0/1/", 4)});
    IDeviceEnumerator* const enumerator = manager.GetDeviceEnumerator();
    ASSERT_NE(enumerator, nullptr);

    EXPECT_TRUE(enumerator->MoveFirst());
    EXPECT_FALSE(enumerator->MoveNext());
    EXPECT_FALSE(enumerator->MoveNext());
    EXPECT_EQ(enumerator->GetDeviceName(), nullptr);
    EXPECT_EQ(enumerator->GetConnectionType(), -1);
    EXPECT_TRUE(enumerator->MoveFirst());
    enumerator->Release();
}

TEST_F(ConnectionManagerTest, KeepsAnEnumerationThroughAChange)
{
    manager.Update({Link("/eth0/1/", 4)});
    IDeviceEnumerator* const enumerator = manager.GetDeviceEnumerator();
    ASSERT_TRUE(enumerator->MoveFirst());
    manager.Update({});

    EXPECT_EQ(Narrow(enumerator->GetDeviceName()), "/eth0/1/");
    enumerator->Release();
}

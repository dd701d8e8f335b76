// notification-latency SECONDS LISTENERS: how long after the change of the clock's second the plug-in's
// listeners hear of it. It loads the plug-in as a host does, with the machine's counted links connected, and
// prints a JSON object: milliseconds from the change to the last of the listeners, of all beats.

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <vector>

#include "host/ConnectionManager.h"
#include "host/Container.h"
#include "host/DeviceManager.h"
#include "host/Session.h"
#include "platform/dialup/CountedLinks.h"

namespace {

/// Milliseconds since the wall clock's second changed.
double SinceTheSecond()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_nsec) / 1e6;
}

/// Keeps the moment of the last call of each burst: there is one for each connection type and second.
class Listener final : public INetInfoEvent
{
public:
    void OnDataChanged(bool bConnected, int /*nValue*/) override
    {
        const std::lock_guard lock(m_mutex);
        if (bConnected) m_heard.push_back(SinceTheSecond());
    }
    std::vector<double> Heard()
    {
        const std::lock_guard lock(m_mutex);
        return m_heard;
    }

private:
    std::mutex m_mutex;
    std::vector<double> m_heard;
};

double Percentile(const std::vector<double>& sorted, int percent)
{
    return sorted[std::min(sorted.size() - 1, sorted.size() * static_cast<std::size_t>(percent) / 100)];
}

}  // namespace

int main(int argc, char** argv)
{
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 0;
    const int count = argc > 2 ? std::atoi(argv[2]) : 1;
    if (seconds < 2 || count < 1) {
        std::fputs("usage: NotificationLatency SECONDS [LISTENERS]\n", stderr);
        return 2;
    }
    netinfo::ConnectionManager connections;
    netinfo::DeviceManager devices;
    netinfo::Container container(connections, devices);
    const auto session = netinfo::Session::Open("", container);
    if (!session) {
        std::fprintf(stderr, "%s\n", session.Error().message.c_str());
        return 1;
    }
    std::vector<std::unique_ptr<Listener>> listeners;
    for (int i = 0; i < count; ++i) {
        listeners.push_back(std::make_unique<Listener>());
        (*session)->Traffic().RegisterCallbackEvent(listeners.back().get());
    }
    std::vector<netinfo::Device> connected;
    for (const netinfo::CountedLink& link :
         netinfo::ReadCountedLinks().value_or(std::vector<netinfo::CountedLink>()))
        connected.push_back({netinfo::ToText16(link.deviceName), netinfo::ToText16(link.linkName),
                             static_cast<int>(link.type)});
    connections.Update(connected);

    timespec wait{seconds, 0};
    nanosleep(&wait, nullptr);
    for (const auto& listener : listeners)
        (*session)->Traffic().DeregisterCallbackEvent(listener.get());

    // In each second the greatest of all listeners; a listener that missed one does not count for it.
    std::vector<double> heard = listeners.front()->Heard();
    for (const auto& listener : listeners) {
        const std::vector<double> other = listener->Heard();
        for (std::size_t i = 0; i < std::min(heard.size(), other.size()); ++i)
            heard[i] = std::max(heard[i], other[i]);
    }
    std::sort(heard.begin(), heard.end());
    if (heard.empty()) {
        std::fputs("no counted link is up, so nothing was heard\n", stderr);
        return 1;
    }
    std::printf(
        "{\"links\": %zu, \"listeners\": %d, \"beats\": %zu, \"p50_ms\": %.2f, \"p90_ms\": %.2f, "
        "\"p99_ms\": %.2f, \"max_ms\": %.2f}\n",
        connected.size(), count, heard.size(), Percentile(heard, 50), Percentile(heard, 90),
        Percentile(heard, 99), heard.back());
    return 0;
}

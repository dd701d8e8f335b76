#include "host/Answerer.h"

#include <utility>

#include "host/Container.h"
#include "host/ControlClient.h"
#include "host/ControlRoutes.h"
#include "host/ControlSource.h"
#include "host/DataLock.h"
#include "host/LinkProfile.h"
#include "host/Output.h"
#include "host/Session.h"
#include "platform/common/Directories.h"
#include "platform/dialup/CountedLinks.h"

namespace netinfo {

/// This process as the source of its own answers.
class Answerer::Here final : public ControlSource
{
public:
    Here(std::string modulePath, Purpose purpose)
        : m_modulePath(std::move(modulePath)), m_purpose(purpose), m_directory(UserDataDirectory())
    {}

    Result<INetInfoService*> Traffic() override
    {
        if (auto failure = Load()) return *failure;
        return &m_session->Traffic();
    }
    Result<INetInfoRecord*> Records() override
    {
        if (auto failure = Load()) return *failure;
        return &m_session->Records();
    }
    Result<const UsageLedger*> Ledger() override
    {
        if (m_directory.empty()) return NoDataDirectory();
        auto ledger = UsageLedger::OpenForReading(m_directory);
        if (!ledger) return ledger.Error();
        m_ledger = std::move(*ledger);
        return m_ledger.get();
    }
    Result<std::array<TypeStatus, TRAFFIC_TYPES.size()>> Statuses() override;
    std::string DataDirectory() override { return m_directory; }
    Json Service() override { return nullptr; }

    std::optional<Failure> End()
    {
        if (!m_session) return std::nullopt;
        auto unsaved = m_session->End();
        m_session.reset();
        return unsaved;
    }

private:
    std::optional<Failure> Load()
    {
        if (m_session) return std::nullopt;
        auto session = m_purpose == Purpose::Change ? Session::Open(m_modulePath, m_container)
                                                    : Session::OpenForReading(m_modulePath, m_container);
        if (!session) return session.Error();
        m_session = std::move(*session);
        return std::nullopt;
    }

    const std::string m_modulePath;
    const Purpose m_purpose;
    const std::string m_directory;
    Container m_container;  ///< outlives the session
    std::unique_ptr<Session> m_session;
    std::unique_ptr<UsageLedger> m_ledger;
};

Result<std::array<TypeStatus, TRAFFIC_TYPES.size()>> Answerer::Here::Statuses()
{
    if (auto failure = Load()) return *failure;
    StatusReader reader(m_session->Traffic());
    const auto links = ReadCountedLinks();
    std::array<TypeStatus, TRAFFIC_TYPES.size()> statuses;
    for (std::size_t i = 0; i < statuses.size(); ++i) {
        statuses[i] = reader.Read(i);
        if (links) AddLinks(statuses[i], *links);
    }
    return statuses;
}

Answerer::Answerer(const std::string& modulePath, Purpose purpose, std::unique_ptr<ControlClient> client)
    : m_client(std::move(client)), m_here(std::make_unique<Here>(modulePath, purpose))
{}

Answerer::~Answerer() = default;

Result<std::unique_ptr<Answerer>> Answerer::Open(const std::string& modulePath, Purpose purpose)
{
    const std::string directory = UserDataDirectory();
    bool mayRun = !directory.empty();
    if (mayRun && purpose == Purpose::Stored) {
        const auto holder = FindLockHolder(directory);
        mayRun = holder && *holder && !(*holder)->socketPath.empty();
    }
    std::unique_ptr<ControlClient> service;
    if (mayRun) {
        auto client = ControlClient::Find(directory);
        if (!client) return client.Error();
        service = std::move(*client);
    }
    return std::unique_ptr<Answerer>(new Answerer(modulePath, purpose, std::move(service)));
}

Result<Json> Answerer::Ask(const ControlRequest& request)
{
    if (m_client) return m_client->Ask(request);
    // Both as they come out at the other end of a socket: kinds of numbers, texts that are not UTF-8.
    ControlRequest asked = request;
    asked.body = ParseJson(OneLine(request.body)).value_or(Json());
    auto document = DocumentOf(AnswerControl(*m_here, asked));
    if (!document) return document;
    return ParseJson(OneLine(*document)).value_or(Json());
}

std::optional<Failure> Answerer::End() { return m_here->End(); }

int PrintAnswer(const Json& document, bool json, const AsText& asText)
{
    if (json) return Print(Indented(document));
    try {
        return Print(asText(document));
    } catch (const Json::exception&) {
        return Fail(
            {"the service's answer is not understood; is it another version? End it and start it again"});
    }
}

int AskAndPrint(const CommonOptions& options, Purpose purpose, const ControlRequest& request,
                const AsText& asText)
{
    const auto answerer = Answerer::Open(options.modulePath, purpose);
    if (!answerer) return Fail(answerer.Error());
    const auto document = (*answerer)->Ask(request);
    const auto unsaved = (*answerer)->End();
    if (!document) return Fail(document.Error());
    if (unsaved) return Fail(*unsaved);
    return PrintAnswer(*document, options.json, asText);
}

}  // namespace netinfo

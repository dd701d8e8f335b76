#include "host/HttpTransfer.h"

#include <curl/curl.h>
#include <sys/socket.h>

#include <cstddef>
#include <memory>

namespace netinfo {
namespace {

constexpr std::size_t LONGEST_ANSWER = std::size_t{64} << 20;  // bytes

struct FreeText
{
    void operator()(char* text) const { curl_free(text); }
};

struct FreeList
{
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

std::string Escaped(const std::string& text)
{
    const std::unique_ptr<char, FreeText> escaped(
        curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size())));
    return escaped ? escaped.get() : "";
}

std::string UrlOf(const HttpRequest& request)
{
    std::string url = "http://netinfo" + request.path;
    char separator = '?';
    for (const auto& [name, value] : request.query) {
        url += separator + Escaped(name) + "=" + Escaped(value);
        separator = '&';
    }
    return url;
}

HttpOutcome::Kind KindOf(CURLcode code)
{
    switch (code) {
        case CURLE_OK:
            return HttpOutcome::Kind::Answered;
        case CURLE_COULDNT_CONNECT:
            return HttpOutcome::Kind::Unreachable;
        case CURLE_ABORTED_BY_CALLBACK:
            return HttpOutcome::Kind::Untrusted;
        case CURLE_OPERATION_TIMEDOUT:
            return HttpOutcome::Kind::TimedOut;
        case CURLE_GOT_NOTHING:
        case CURLE_PARTIAL_FILE:
        case CURLE_RECV_ERROR:
        case CURLE_SEND_ERROR:
            return HttpOutcome::Kind::CutShort;
        case CURLE_OUT_OF_MEMORY:
            return HttpOutcome::Kind::NoMemory;
        default:
            return HttpOutcome::Kind::NotUnderstood;
    }
}

class CurlTransfer final : public HttpTransfer
{
public:
    CurlTransfer()
    {
        curl_global_init(CURL_GLOBAL_NOTHING);
        m_curl = curl_easy_init();
    }
    ~CurlTransfer() override
    {
        curl_easy_cleanup(m_curl);
        curl_global_cleanup();
    }
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    bool Usable() const { return m_curl != nullptr; }
    HttpOutcome Perform(const HttpRequest& request) override;

private:
    static curl_socket_t Open(void* self, curlsocktype, curl_sockaddr* address);
    static int Check(void* self, char*, char*, int, int);
    static std::size_t Take(char* data, std::size_t, std::size_t length, void* self);

    CURL* m_curl = nullptr;                  ///< owned
    int m_connection = -1;                   ///< the library's
    const HttpRequest* m_request = nullptr;  ///< under way
    std::string m_answer;
};

curl_socket_t CurlTransfer::Open(void* self, curlsocktype, curl_sockaddr* address)
{
    int& connection = static_cast<CurlTransfer*>(self)->m_connection;
    connection = socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    return connection;
}

/// The connection is there, and nothing has been said yet.
int CurlTransfer::Check(void* self, char*, char*, int, int)
{
    const CurlTransfer& transfer = *static_cast<CurlTransfer*>(self);
    return transfer.m_request->trusts(transfer.m_connection) ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
}

std::size_t CurlTransfer::Take(char* data, std::size_t, std::size_t length, void* self)
{
    std::string& answer = static_cast<CurlTransfer*>(self)->m_answer;
    if (answer.size() + length > LONGEST_ANSWER) return 0;
    answer.append(data, length);
    return length;
}

HttpOutcome CurlTransfer::Perform(const HttpRequest& request)
{
    m_request = &request;
    m_answer.clear();
    const std::string url = UrlOf(request);
    curl_slist* list = curl_slist_append(nullptr, "Expect:");
    for (const std::string& header : request.headers)
        list = curl_slist_append(list, header.c_str());
    const std::unique_ptr<curl_slist, FreeList> headers(list);

    curl_easy_reset(m_curl);
    curl_easy_setopt(m_curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(m_curl, CURLOPT_UNIX_SOCKET_PATH, request.socketPath.c_str());
    curl_easy_setopt(m_curl, CURLOPT_OPENSOCKETFUNCTION, &CurlTransfer::Open);
    curl_easy_setopt(m_curl, CURLOPT_OPENSOCKETDATA, this);
    curl_easy_setopt(m_curl, CURLOPT_PREREQFUNCTION, &CurlTransfer::Check);
    curl_easy_setopt(m_curl, CURLOPT_PREREQDATA, this);
    curl_easy_setopt(m_curl, CURLOPT_WRITEFUNCTION, &CurlTransfer::Take);
    curl_easy_setopt(m_curl, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(m_curl, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(m_curl, CURLOPT_CUSTOMREQUEST, request.method.c_str());
    curl_easy_setopt(m_curl, CURLOPT_TIMEOUT_MS, static_cast<long>(request.patience.count()));
    curl_easy_setopt(m_curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(m_curl, CURLOPT_PROXY, "");
    if (!request.body.empty()) {
        curl_easy_setopt(m_curl, CURLOPT_POSTFIELDS, request.body.c_str());
        curl_easy_setopt(m_curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(request.body.size()));
    }
    HttpOutcome outcome;
    outcome.kind = KindOf(curl_easy_perform(m_curl));
    long status = 0;
    curl_easy_getinfo(m_curl, CURLINFO_RESPONSE_CODE, &status);
    outcome.status = static_cast<int>(status);
    outcome.body = std::move(m_answer);
    m_request = nullptr;
    return outcome;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) HttpTransfer* NewHttpTransfer()
{
    auto transfer = std::make_unique<CurlTransfer>();
    return transfer->Usable() ? transfer.release() : nullptr;
}

}  // namespace netinfo

// Requests and answers over HTTP, by libcurl. Tests: tests/e2e/remote.py.
#include "client/transfer.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "cim/names.h"
#include "client/netrc.h"

namespace client {

namespace {

constexpr std::size_t kMaxHeaders = 65536;  // all those of an answer
constexpr std::size_t kShownText = 200;

std::string seconds(std::chrono::milliseconds time) {
    return fmt::format("{:g} s", std::chrono::duration<double>(time).count());
}

Trouble troubleOf(CURLcode code) {
    switch (code) {
        case CURLE_COULDNT_RESOLVE_HOST:
            return Trouble::name;
        case CURLE_COULDNT_CONNECT:
            return Trouble::unreachable;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_INVALIDCERTSTATUS:
            return Trouble::tls;
        case CURLE_GOT_NOTHING:
        case CURLE_PARTIAL_FILE:
        case CURLE_RECV_ERROR:
        case CURLE_SEND_ERROR:
            return Trouble::ended;
        case CURLE_UNSUPPORTED_PROTOCOL:
        case CURLE_WEIRD_SERVER_REPLY:
        case CURLE_BAD_CONTENT_ENCODING:
            return Trouble::malformed;
        default:
            return Trouble::other;
    }
}

}  // namespace

template <typename Value>
void Transfer::set(CURLoption option, Value value) {
    const CURLcode code = curl_easy_setopt(handle_.get(), option, value);
    if (code == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
    if (code != CURLE_OK) throw std::runtime_error(fmt::format("libcurl: {}", curl_easy_strerror(code)));
}

Transfer::Transfer(Server server, const Access& access, Budget* budget)
    : server_(std::move(server)), access_(access), budget_(budget), handle_(curl_easy_init()) {
    if (!handle_) throw std::bad_alloc();
    set(CURLOPT_ERRORBUFFER, error_.data());
    set(CURLOPT_PRIVATE, this);
    set(CURLOPT_URL, (server_.url() + "/cimom").c_str());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_PROXY, "");
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L);  // who is given up while his name is looked up keeps nobody else waiting
    set(CURLOPT_TCP_KEEPALIVE, 1L);
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(access_.connectTimeout.count()));
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(access_.answerTimeout.count()));
    set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(kMaxAnswer));
    set(CURLOPT_WRITEFUNCTION, onBody);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_HEADERFUNCTION, onHeader);
    set(CURLOPT_HEADERDATA, this);
    setAccess();
}

Transfer::~Transfer() {
    taken();
    if (budget_ != nullptr) budget_->used -= kept_;
}

void Transfer::setAccess() {
    if (!access_.caFile.empty()) {
        set(CURLOPT_CAINFO, access_.caFile.c_str());
        set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));  // in place of the system's, not beside them
    }
    set(CURLOPT_SSL_VERIFYPEER, access_.insecure ? 0L : 1L);
    set(CURLOPT_SSL_VERIFYHOST, access_.insecure ? 0L : 2L);
    if (!server_.tls && !server_.isLoopback() && !access_.insecure) return;  // for all to read
    const std::string& user = server_.user.empty() ? access_.user : server_.user;
    set(CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    if (!user.empty()) {
        std::optional<std::string> password = access_.password;
        if (password->empty()) password = passwordFor(access_.netrcFile, server_.host, user);
        if (!password)
            throw Failure(Trouble::credentials, server_.url(), fmt::format("user '{}'", user),
                          "there is no password, nor one in a netrc file; nothing was sent");
        set(CURLOPT_USERNAME, user.c_str());
        set(CURLOPT_PASSWORD, password->c_str());
        return;
    }
    set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_OPTIONAL));
    if (!access_.netrcFile.empty()) set(CURLOPT_NETRC_FILE, access_.netrcFile.c_str());
}

void Transfer::whileWaiting(std::function<void()> call) {
    whileWaiting_ = std::move(call);
    set(CURLOPT_XFERINFOFUNCTION, onProgress);
    set(CURLOPT_XFERINFODATA, this);
    set(CURLOPT_NOPROGRESS, 0L);
}

int Transfer::onProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    static_cast<Transfer*>(self)->whileWaiting_();
    return 0;
}

void Transfer::prepare(const Request& request) {
    taken();
    request_ = request;
    message_ = messageOf(request);
    headers_.clear();
    tooLarge_ = noRoom_ = false;
    error_.fill('\0');
    const std::unique_ptr<char, decltype(&curl_free)> place(
        curl_easy_escape(handle_.get(), request.object.nameSpace.c_str(), 0), curl_free);
    if (!place) throw std::bad_alloc();
    std::unique_ptr<curl_slist, ListCleanup> list;
    for (const std::string& header :
         {std::string("Content-Type: application/xml; charset=\"utf-8\""), std::string("CIMOperation: MethodCall"),
          fmt::format("CIMMethod: {}", methodOf(request.operation)), fmt::format("CIMObject: {}", place.get()),
          std::string("Expect:")}) {
        curl_slist* longer = curl_slist_append(list.get(), header.c_str());
        if (longer == nullptr) throw std::bad_alloc();
        static_cast<void>(list.release());
        list.reset(longer);
    }
    set(CURLOPT_POSTFIELDS, message_.c_str());
    set(CURLOPT_POSTFIELDSIZE, static_cast<long>(message_.size()));
    set(CURLOPT_HTTPHEADER, list.get());
    requestHeaders_ = std::move(list);
}

broker::Response Transfer::answer(CURLcode code) {
    if (code != CURLE_OK) throw failure(code);
    long status = 0;
    curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
    if (status != 200) throw refusal(status);
    const std::string body = taken();
    try {
        broker::Response response = readAnswer(request_, body);
        keep(response);
        return response;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const Failure&) {
        throw;
    } catch (const std::exception& error) {
        throw Failure(Trouble::malformed, server_.url(), described(request_),
                      fmt::format("the answer, {} bytes, cannot be read: {}", body.size(),
                                  std::string(error.what()).substr(0, kShownText)));
    }
}

std::size_t Transfer::onBody(char* data, std::size_t size, std::size_t count, void* self) {
    return static_cast<Transfer*>(self)->take(data, size * count) ? size * count : 0;
}

std::size_t Transfer::onHeader(char* data, std::size_t size, std::size_t count, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    transfer.tooLarge_ = size * count > kMaxHeaders - transfer.headers_.size();
    if (transfer.tooLarge_) return 0;
    try {
        transfer.headers_.append(data, size * count);
    } catch (const std::bad_alloc&) {
        return 0;
    }
    return size * count;
}

bool Transfer::take(const char* data, std::size_t size) {
    tooLarge_ = body_.size() + size > kMaxAnswer;
    noRoom_ = !hasRoomFor(size);
    if (tooLarge_ || noRoom_) return false;
    try {
        body_.append(data, size);
    } catch (const std::bad_alloc&) {
        return false;
    }
    if (budget_ != nullptr) budget_->used += size;
    return true;
}

bool Transfer::hasRoomFor(std::size_t size) const {
    return budget_ == nullptr || budget_->used + size <= budget_->limit ||
           kept_ + body_.size() + size <= budget_->share;
}

void Transfer::keep(const broker::Response& response) {
    if (budget_ == nullptr) return;
    const std::size_t room = roomOf(response);
    if (!hasRoomFor(room)) throw noRoom(room);
    kept_ += room;
    budget_->used += room;
}

/** The answer's body, which counts no longer. */
std::string Transfer::taken() {
    if (budget_ != nullptr) budget_->used -= std::min(budget_->used, body_.size());
    return std::exchange(body_, std::string());
}

Failure Transfer::failure(CURLcode code) const {
    const std::string asked = described(request_);
    if (noRoom_ && !tooLarge_) return noRoom(body_.size());
    if (tooLarge_ || code == CURLE_FILESIZE_EXCEEDED)
        return {Trouble::tooLarge, server_.url(), asked,
                fmt::format("more came than an answer may have ({} bytes and {} of headers so far)", body_.size(),
                            headers_.size())};
    if (code == CURLE_OPERATION_TIMEDOUT) {
        curl_off_t ready = 0;  // until then, connecting and TLS
        curl_easy_getinfo(handle_.get(), CURLINFO_PRETRANSFER_TIME_T, &ready);
        if (ready == 0)
            return {Trouble::connectTimeout, server_.url(), asked,
                    fmt::format("no connection within {}",
                                seconds(std::min(access_.connectTimeout, access_.answerTimeout)))};
        return {Trouble::answerTimeout, server_.url(), asked,
                fmt::format("no whole answer within {}; {} bytes came", seconds(access_.answerTimeout), body_.size())};
    }
    std::string came = error_.front() != '\0' ? error_.data() : curl_easy_strerror(code);
    if (troubleOf(code) == Trouble::ended)
        came = fmt::format("the connection ended after {} bytes of an answer: {}", body_.size(), came);
    return {troubleOf(code), server_.url(), asked, came.substr(0, kShownText)};
}

Failure Transfer::noRoom(std::size_t bytes) const {
    return {
        Trouble::tooLarge, server_.url(), described(request_),
        fmt::format("there is no room for the answer ({} bytes so far): those of other servers that are being asked "
                    "fill it; ask fewer at a time",
                    bytes)};
}

Failure Transfer::refusal(long status) const {
    std::string came = fmt::format("HTTP status {}", status);
    if (status == 401) {
        const bool withheld = !server_.tls && !server_.isLoopback() && !access_.insecure;
        return {Trouble::credentials, server_.url(), described(request_),
                came + (withheld ? ": it wants credentials, which are not sent without TLS"
                                 : ": it wants credentials, or others than it was given")};
    }
    if (status >= 300 && status < 400) came += ", a redirect, which is not followed";
    for (const char* name : {"Location", "CIMError", "PGErrorDetail"})
        if (const std::string value = headerNamed(name); !value.empty())
            came += fmt::format("; {}: {}", name, value.substr(0, kShownText));
    const std::string text = body_.substr(0, std::min(body_.find_first_of("\r\n"), kShownText));
    if (!text.empty() && text.front() != '<') came += fmt::format(" ({})", text);
    return {Trouble::httpStatus, server_.url(), described(request_), came};
}

std::string Transfer::headerNamed(const std::string& name) const {
    std::string_view rest = headers_;
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos || !cim::sameName(line.substr(0, colon), name)) continue;
        const std::string_view value = line.substr(colon + 1);
        const std::size_t first = value.find_first_not_of(" \t\r");
        if (first == std::string_view::npos) return "";
        return std::string(value.substr(first, value.find_last_not_of(" \t\r") - first + 1));
    }
    return "";
}

}  // namespace client

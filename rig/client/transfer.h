#ifndef PCIINFO_CLIENT_TRANSFER_H
#define PCIINFO_CLIENT_TRANSFER_H

#include <curl/curl.h>

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "broker/objectmanager.h"
#include "client/answer.h"
#include "client/failure.h"
#include "client/request.h"
#include "client/server.h"

namespace client {

/**
 * What those who are asked at the same time may take of memory together, for answers that come and for those that have
 * been read; each always has a share of it.
 */
struct Budget {
    std::size_t limit = 0;
    std::size_t share = 0;
    std::size_t used = 0;
};

/**
 * HTTP with one object manager, request after request, on a connection that stays. Redirects are not followed, proxies
 * not used. An answer, and what goes before it, is bounded in size and time.
 */
class Transfer {
 public:
    /** Throws std::runtime_error where libcurl cannot be used, Failure where a user has no password. */
    Transfer(Server server, const Access& access, Budget* budget = nullptr);
    ~Transfer();
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    /** Has this called about once a second or more often while a request is under way. It may not throw. */
    void whileWaiting(std::function<void()> call);
    /** Gets the handle ready for a request; whoever performs it hands the result to answer(). */
    void prepare(const Request& request);
    /** What the request brought; it counts until the transfer is gone. Throws Failure. */
    broker::Response answer(CURLcode code);

    CURL* handle() const { return handle_.get(); }
    const Server& server() const { return server_; }

 private:
    struct EasyCleanup {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    };
    struct ListCleanup {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };

    static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
    static int onProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t);
    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);

    template <typename Value>
    void set(CURLoption option, Value value);
    void setAccess();
    bool take(const char* data, std::size_t size);
    bool hasRoomFor(std::size_t size) const;
    void keep(const broker::Response& response);
    std::string taken();
    Failure failure(CURLcode code) const;
    Failure noRoom(std::size_t bytes) const;
    Failure refusal(long status) const;
    std::string headerNamed(const std::string& name) const;

    const Server server_;
    const Access access_;
    Budget* const budget_;
    std::unique_ptr<CURL, EasyCleanup> handle_;
    std::unique_ptr<curl_slist, ListCleanup> requestHeaders_;
    Request request_ = {};
    std::string message_;  // of the request
    std::string body_;     // of the answer, as far as it has come
    std::string headers_;
    std::size_t kept_ = 0;  // of the budget, for answers that have been read
    bool tooLarge_ = false;
    bool noRoom_ = false;
    std::function<void()> whileWaiting_;
    std::array<char, CURL_ERROR_SIZE> error_{};
};

}  // namespace client

#endif

// Many object managers at a time, by libcurl's multi interface. Tests: tests/e2e/remote.py,
// tests/e2e/servers.py.
#include "client/crowd.h"

#include <curl/curl.h>

#include <deque>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "client/request.h"
#include "client/transfer.h"

namespace client {

namespace {

constexpr std::size_t kBudget = std::size_t{256} << 20;
constexpr int kPollMilliseconds = 100;

/** An answer that is not there yet; its request has been noted. */
class Unanswered : public std::exception {};

/** A server being asked: it answers what has been answered, and notes the first request that has not. */
class Visit : public RequestMaker {
 public:
    Visit(Listed listed, const Access& access, Budget& budget)
        : listed_(std::move(listed)), transfer_(listed_.server, access, &budget) {}

    const Listed& listed() const { return listed_; }
    CURL* handle() const { return transfer_.handle(); }

    /** The request that was noted is got ready. */
    void prepare() { transfer_.prepare(*noted_); }
    /** Its answer has come. Throws Failure. */
    void take(CURLcode code) { answers_.emplace_back(messageOf(*noted_), transfer_.answer(code)); }

 private:
    broker::Response put(const Request& request) override {
        const std::string message = messageOf(request);
        for (const auto& [asked, answer] : answers_)
            if (asked == message) return answer;
        noted_ = request;
        throw Unanswered();
    }

    Listed listed_;
    Transfer transfer_;
    std::vector<std::pair<std::string, broker::Response>> answers_;
    std::optional<Request> noted_;
};

void check(CURLMcode code) {
    if (code == CURLM_OUT_OF_MEMORY) throw std::bad_alloc();
    if (code != CURLM_OK) throw std::runtime_error(std::string("libcurl: ") + curl_multi_strerror(code));
}

class Crowd {
 public:
    Crowd(const Access& access, std::size_t parallel, const CrowdHandlers& handlers)
        : access_(access), parallel_(parallel), handlers_(handlers), multi_(curl_multi_init()) {
        if (!multi_) throw std::bad_alloc();
        budget_.limit = kBudget;
        budget_.share = kBudget / parallel;
        check(curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, static_cast<long>(parallel)));
    }
    ~Crowd() {
        for (const auto& [handle, visit] : visits_) curl_multi_remove_handle(multi_.get(), handle);
    }
    Crowd(const Crowd&) = delete;
    Crowd& operator=(const Crowd&) = delete;

    Progress run() {
        while (fill() && handlers_.goOn(progress_)) {
            int running = 0;
            check(curl_multi_perform(multi_.get(), &running));
            if (!takeAnswers()) check(curl_multi_poll(multi_.get(), nullptr, 0, kPollMilliseconds, nullptr));
        }
        return progress_;
    }

 private:
    struct MultiCleanup {
        void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
    };

    /** False when nobody is left to ask. */
    bool fill() {
        while (!exhausted_ && visits_.size() < parallel_ && handlers_.mayBegin()) {
            std::optional<Listed> listed = handlers_.next();
            exhausted_ = !listed;
            if (listed) begin(*listed);
        }
        progress_.underWay = visits_.size();
        return !visits_.empty() || !exhausted_;
    }

    void begin(const Listed& listed) {
        std::unique_ptr<Visit> visit;
        try {
            visit = std::make_unique<Visit>(listed, access_, budget_);
        } catch (const std::runtime_error& error) {
            return fail(listed, error);
        }
        goOnWith(std::move(visit));
    }

    void fail(const Listed& listed, const std::exception& error) {
        ++progress_.failed;
        handlers_.failed(listed, error);
    }

    /** Has the server asked on; it is forgotten when nothing is left to ask. */
    void goOnWith(std::unique_ptr<Visit> visit) {
        try {
            const bool answered = handlers_.ask(visit->listed(), *visit, [&] { return visit->takeRefusal(); });
            ++(answered ? progress_.answered : progress_.failed);
        } catch (const Unanswered&) {
            visit->prepare();
            CURL* const handle = visit->handle();
            Visit& kept = *visits_.emplace(handle, std::move(visit)).first->second;
            check(curl_multi_add_handle(multi_.get(), kept.handle()));
        } catch (const std::logic_error& error) {
            fail(visit->listed(), std::runtime_error(std::string("what came cannot be shown: ") + error.what()));
        }
    }

    /** Whether there were any. */
    bool takeAnswers() {
        // All are taken before anything is done with them: what is done may make libcurl forget its messages.
        std::deque<std::pair<CURL*, CURLcode>> ended;
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left))
            if (message->msg == CURLMSG_DONE) ended.emplace_back(message->easy_handle, message->data.result);
        for (const auto& [handle, code] : ended) take(handle, code);
        return !ended.empty();
    }

    void take(CURL* handle, CURLcode code) {
        check(curl_multi_remove_handle(multi_.get(), handle));
        const auto found = visits_.find(handle);
        std::unique_ptr<Visit> visit = std::move(found->second);
        visits_.erase(found);
        try {
            visit->take(code);
        } catch (const std::runtime_error& error) {
            return fail(visit->listed(), error);
        }
        ++progress_.requests;
        goOnWith(std::move(visit));
    }

    const Access& access_;
    const std::size_t parallel_;
    const CrowdHandlers& handlers_;
    Budget budget_;
    std::unique_ptr<CURLM, MultiCleanup> multi_;
    std::unordered_map<CURL*, std::unique_ptr<Visit>> visits_;
    bool exhausted_ = false;
    Progress progress_;
};

}  // namespace

Progress askCrowd(const Access& access, std::size_t parallel, const CrowdHandlers& handlers) {
    return Crowd(access, parallel, handlers).run();
}

}  // namespace client

// Many servers, as far as no network is needed: what becomes of exceptions.

#include "client/crowd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

TEST(Crowd, AnAnswerThatNobodyThoughtOfIsItsServersFailureAlone) {
    std::vector<std::string> left = {"three", "two", "one"};
    std::vector<std::string> failed;
    client::CrowdHandlers handlers;
    handlers.next = [&]() -> std::optional<client::Listed> {
        if (left.empty()) return std::nullopt;
        const std::string name = left.back();
        left.pop_back();
        return client::Listed{name, client::parseServer(name)};
    };
    handlers.ask = [](const client::Listed& server, broker::ObjectManager&, const auto&) {
        if (server.name == "two") throw std::out_of_range("odd");
        return true;
    };
    handlers.failed = [&](const client::Listed& server, const std::exception& error) {
        failed.push_back(server.name + ": " + error.what());
    };
    handlers.goOn = [](const client::Progress&) { return true; };
    const client::Progress progress = client::askCrowd({}, 1, handlers);
    EXPECT_EQ(progress.answered, 2U);
    EXPECT_THAT(failed, ElementsAre("two: what came cannot be shown: odd"));
}

}  // namespace

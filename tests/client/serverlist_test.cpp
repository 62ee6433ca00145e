// Lists of servers, as files have them.

#include "cimhost/serverlist.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

std::vector<std::string> namesIn(const std::string& text) {
    std::istringstream list(text);
    std::vector<std::string> names;
    for (const client::Listed& each : cimhost::readServers(list, "list")) names.push_back(each.name);
    return names;
}

TEST(ServerList, LeavesOutCommentsBlankLinesAndWhatItHasAlready) {
    EXPECT_THAT(namesIn("a\n\n# b\n  c:5988 \t# the third\r\n#\na\n \t\nd"), testing::ElementsAre("a", "c:5988", "d"));
    EXPECT_THAT(namesIn(""), testing::IsEmpty());
}

TEST(ServerList, TellsTheLineThatNamesNone) {
    for (const std::string& bad : {std::string("b c"), std::string("http://x/y#z"), std::string(1025, 'x')}) {
        try {
            namesIn("a\n\n" + bad + "\n");
            ADD_FAILURE() << bad;
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), testing::StartsWith("list, line 3: "));
        }
    }
}

}  // namespace

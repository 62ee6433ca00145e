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

TEST(ServerList, HasAPlaceOnceHoweverItIsWritten) {
    EXPECT_THAT(namesIn("node1\nhttps://NODE1\nnode1:5989\nHTTPS://node1:5989/\nnode1/\n"),
                testing::ElementsAre("node1"));
    EXPECT_THAT(namesIn("node1\nhttp://node1\nnode1:5988\nnode1:1\na@node1\nA@node1\nhttps://a@Node1\n"),
                testing::ElementsAre("node1", "http://node1", "node1:1", "a@node1", "A@node1"));
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

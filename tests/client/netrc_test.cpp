// Passwords of users, as netrc files have them.

#include "client/netrc.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

std::string passwordOf(const std::string& text, const std::string& user = "op") {
    std::istringstream netrc(text);
    return client::passwordIn(netrc, "host", user).value_or("none");
}

TEST(Netrc, HasAUsersOwnPassword) {
    EXPECT_EQ(passwordOf("machine host login op password secret"), "secret");
    EXPECT_EQ(passwordOf("machine HOST\n  login op\n  password secret\n"), "secret");
    EXPECT_EQ(passwordOf("machine host login x password y\nmachine host login op password secret\ndefault login op "
                         "password z"),
              "secret");
    EXPECT_EQ(passwordOf("machine other login op password y default login op password z"), "z");
    EXPECT_EQ(passwordOf("machine host password secret"), "secret");
    EXPECT_EQ(passwordOf("machine host login op password \"a \\\"b\\\\\" # all of it"), "a \"b\\");
    EXPECT_EQ(
        passwordOf("# machine host login op password x\nmachine host macdef m\npassword y\n\nlogin op password z"),
        "z");
}

TEST(Netrc, HasNoneForOthers) {
    for (const char* text :
         {"", "machine", "machine host", "machine host login op", "machine host login x password y",
          "machine other login op password y", "machine other login op password y machine host login op",
          "default login x password y", "machine host login \"op", "machine host login op password", "password y"})
        EXPECT_EQ(passwordOf(text), "none") << text;
}

}  // namespace

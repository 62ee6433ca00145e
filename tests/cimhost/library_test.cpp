#include "cimhost/library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/hostbuilder.h"

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;

TEST(Library, IsLookedForInTheBuildTreeFirst) {
    const std::vector<fs::path> places = cimhost::libraryPlaces();
    ASSERT_EQ(places.size(), 4U);
    EXPECT_EQ(places.front(), fs::path(CIMHOST_PROVIDER)) << "test programs stand where the command stands";
    EXPECT_EQ(places[1].parent_path().filename(), "cmpi");
    EXPECT_EQ(places[1].lexically_normal(), places[1]);
    EXPECT_EQ(places[2], fs::path("/usr/lib/cmpi/libPCIInfoProvider.so"));
}

TEST(Library, IsTheFirstOfThePlacesThatExists) {
    testsupport::HostBuilder tree;
    tree.setFile("two", "").setFile("three", "");
    EXPECT_EQ(cimhost::findLibrary({tree.path("one"), tree.path("two"), tree.path("three")}), tree.path("two"));
}

TEST(Library, ThatIsNowhereIsReportedWithAllPlaces) {
    try {
        cimhost::findLibrary({"/no/such/one", "/no/such/two"});
        FAIL() << "found a library that does not exist";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), AllOf(HasSubstr("/no/such/one, /no/such/two"), HasSubstr("--library")));
    }
}

}  // namespace

// Where the library, the sample machines and the catalogues are looked for.

#include "cimhost/places.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/hostbuilder.h"

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::string complaint(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

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
    EXPECT_THAT(complaint([] {
                    cimhost::findLibrary({"/no/such/one", "/no/such/two"});
                }),
                AllOf(HasSubstr("/no/such/one, /no/such/two"), HasSubstr("--library")));
}

TEST(Places, AreNotGuessedWhereTheProgramsOwnIsNotKnown) {
    const fs::path noLink = "/no/such/proc/self/exe";
    EXPECT_THAT(complaint([&] { cimhost::libraryPlaces(noLink); }), AllOf(HasSubstr(noLink), HasSubstr("--library")));
    EXPECT_THAT(cimhost::dataDirectories(noLink), IsEmpty());
}

/** Two directories of data, the first of which goes first. */
class Samples : public testing::Test {
 protected:
    Samples() {
        first.setFile("samples/beta/SOURCE", "Sample machine beta: the second of two.\n");
        first.makeDirectory("samples/CMakeFiles").setFile("samples/beta.stamp", "");
        second.setFile("samples/alpha/SOURCE", "about it\n").setFile("samples/beta/SOURCE", "another\n");
    }

    std::vector<cimhost::Sample> found() const { return cimhost::findSamples(directories); }

    testsupport::HostBuilder first;
    testsupport::HostBuilder second;
    std::vector<fs::path> directories = {"/no/such/data", first.directory(), second.directory()};
};

TEST_F(Samples, AreFoundInAllDirectoriesTheFirstOfAName) {
    const auto samples = found();
    ASSERT_EQ(samples.size(), 2U);
    EXPECT_EQ(samples[0].name, "alpha");
    EXPECT_EQ(samples[0].description, "about it");
    EXPECT_EQ(samples[1].directory, first.path("samples/beta"));
    EXPECT_EQ(samples[1].description, "the second of two.");
}

TEST_F(Samples, AreNotWaitedFor) {
    first.makeFifo("samples/gamma/SOURCE");
    alarm(60);  // ends a program that waits for ever
    EXPECT_EQ(found().size(), 2U);
    alarm(0);
}

TEST_F(Samples, StandForTheirDirectories) {
    EXPECT_EQ(cimhost::hostDirectory("alpha", found()), second.path("samples/alpha"));
    EXPECT_EQ(cimhost::hostDirectory(first.directory(), found()), first.directory());
}

TEST_F(Samples, ThatAreNoneAreRefusedForTheirReason) {
    const auto reason = [&](const std::string& named) {
        return complaint([&] { cimhost::hostDirectory(named, found()); });
    };
    EXPECT_THAT(reason("alpa"), AllOf(HasSubstr("neither"), HasSubstr("did you mean alpha?")));
    EXPECT_THAT(reason(first.path("samples/beta.stamp").string()), HasSubstr("is no directory"));
    fs::create_symlink("loop", first.path("loop"));
    EXPECT_THAT(reason(first.path("loop").string()),
                AllOf(HasSubstr("Too many levels of symbolic links"), Not(HasSubstr("neither"))));
}

TEST_F(Samples, HaveACatalogueBesideThem) {
    EXPECT_THAT(complaint([&] { cimhost::findCatalogue(directories); }),
                AllOf(HasSubstr("/no/such/data/catalogue"), HasSubstr(second.directory())));
    second.setFile("catalogue/pci.xml", "");
    EXPECT_EQ(cimhost::findCatalogue(directories), second.path("catalogue"));
}

TEST(DataDirectories, AreTheBuildTreeAndTheInstallation) {
    const auto directories = cimhost::dataDirectories();
    ASSERT_EQ(directories.size(), 2U);
    EXPECT_EQ(directories[0] / "samples", fs::path(CIMHOST_SAMPLES));
    EXPECT_EQ(directories[1].filename(), "pciinfo-provider");
}

}  // namespace

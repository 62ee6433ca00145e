// The emulated host's files, directories, name and log, its events, and the objects' lives.
#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "emulator/emulatedhost.h"
#include "tests/support/hostbuilder.h"

// What code compiled with _FORTIFY_SOURCE calls; the headers declare these only for such code.
extern "C" {
size_t __fread_chk(void* to, size_t room, size_t size, size_t count, FILE* stream);
size_t __fread_unlocked_chk(void* to, size_t room, size_t size, size_t count, FILE* stream);
int __gethostname_chk(char* name, size_t size, size_t room) noexcept;
int __open_2(const char* path, int flags);
int __open64_2(const char* path, int flags);
int __openat_2(int directory, const char* path, int flags);
int __openat64_2(int directory, const char* path, int flags);
int __poll_chk(struct pollfd* items, nfds_t count, int timeout, size_t room);
void __syslog_chk(int priority, int flag, const char* format, ...);
void __vsyslog_chk(int priority, int flag, const char* format, va_list arguments);
}

namespace {

using emulator::EmulatedHost;
using emulator::FileOpened;
using emulator::FileRead;
using emulator::LogLine;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

using Stream = std::unique_ptr<FILE, int (*)(FILE*)>;

Stream openStream(const char* path, const char* mode = "r") {
    return Stream(std::fopen(path, mode), std::fclose);
}

std::string readAll(FILE* stream) {
    std::string text;
    for (int c = std::fgetc(stream); c != EOF; c = std::fgetc(stream)) text += static_cast<char>(c);
    return text;
}

std::string hostName() {
    char name[256] = {};
    EXPECT_EQ(gethostname(name, sizeof name), 0);
    return name;
}

constexpr const char* kDevices = "/proc/bus/pci/devices";
constexpr const char* kConfig = "/proc/bus/pci/00/1f.3";
constexpr const char* kCatalogue = "/etc/vmware/pci.xml";

class HostTest : public testing::Test {
 protected:
    HostTest() {
        function.dev = 0x1F;
        function.func = 3;
        function.configLength = 256;
        directory.addFunction(function).setCatalogue("<xml/>").setHostName("sample");
    }

    testsupport::PciFunction function;
    testsupport::HostBuilder directory;
};

/** With the host alive. */
class LiveHostTest : public HostTest {
 protected:
    std::vector<std::size_t> readSizes() const {
        std::vector<std::size_t> sizes;
        for (const FileRead& read : host.eventsOf<FileRead>()) {
            sizes.push_back(read.asked);
            sizes.push_back(read.got);
        }
        return sizes;
    }

    EmulatedHost host{directory.directory()};
};

TEST_F(LiveHostTest, FilesBelowProcBusPciComeFromTheDirectory) {
    const Stream stream = openStream(kDevices);
    ASSERT_TRUE(stream);
    EXPECT_EQ(readAll(stream.get()), testsupport::devicesLine(function));
    const auto opened = host.eventsOf<FileOpened>();
    ASSERT_THAT(opened, SizeIs(1));
    EXPECT_EQ(opened[0].path, kDevices);
    EXPECT_EQ(opened[0].mode, "r");
    EXPECT_TRUE(opened[0].ok);
}

TEST_F(LiveHostTest, StandardStreamsReadTheDirectoryToo) {
    std::ifstream stream(kCatalogue);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "<xml/>");
    EXPECT_THAT(host.eventsOf<FileOpened>(), SizeIs(1));
}

TEST_F(LiveHostTest, AFileThatIsNotThereIsRecordedAsFailed) {
    errno = 0;
    EXPECT_FALSE(openStream("/etc/vmware/pci.classlist"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(openStream("/proc/bus/pci/00/00.0"));
    EXPECT_EQ(errno, ENOENT);
    const auto opened = host.eventsOf<FileOpened>();
    ASSERT_THAT(opened, SizeIs(2));
    EXPECT_FALSE(opened[0].ok);
    EXPECT_FALSE(opened[1].ok);
}

TEST_F(LiveHostTest, OtherPathsReachTheMachine) {
    directory.setFile("proc/bus/pcix", std::string("no")).setFile("proc/self/status", std::string("no"));
    EXPECT_FALSE(openStream("/proc/bus/pcix"));
    const Stream status = openStream("/proc/self/status");
    ASSERT_TRUE(status);
    EXPECT_NE(readAll(status.get()), "no");
    EXPECT_THAT(host.events(), IsEmpty());
}

TEST_F(LiveHostTest, AnUnbufferedReadReachesTheKernelAsItIs) {
    const Stream stream = openStream(kConfig);
    ASSERT_TRUE(stream);
    ASSERT_EQ(std::setvbuf(stream.get(), nullptr, _IONBF, 0), 0);
    std::array<std::uint8_t, 64> config{};
    EXPECT_EQ(std::fread(config.data(), 1, config.size(), stream.get()), 64U);
    const testsupport::Bytes expected = testsupport::configSpace(function);
    EXPECT_TRUE(std::equal(config.begin(), config.end(), expected.begin()));
    EXPECT_THAT(readSizes(), ElementsAre(64, 64));
    EXPECT_EQ(host.eventsOf<FileRead>()[0].path, kConfig);
    EXPECT_EQ(std::fread(config.data(), 0, 3, stream.get()), 0U);
}

TEST_F(LiveHostTest, ABufferedReadAsksForABlockOfProcfs) {
    const Stream stream = openStream(kConfig);
    ASSERT_TRUE(stream);
    std::array<std::uint8_t, 64> config{};
    EXPECT_EQ(std::fread(config.data(), 1, config.size(), stream.get()), 64U);
    EXPECT_THAT(readSizes(), ElementsAre(1024, 256));
}

TEST_F(LiveHostTest, AnOwnBufferIsUsed) {
    std::array<char, 128> buffer{};
    const Stream stream = openStream(kConfig);
    ASSERT_TRUE(stream);
    ASSERT_EQ(std::setvbuf(stream.get(), buffer.data(), _IOFBF, buffer.size()), 0);
    EXPECT_NE(std::fgetc(stream.get()), EOF);
    EXPECT_THAT(readSizes(), ElementsAre(128, 128));
}

TEST_F(LiveHostTest, AShortFileIsReadToItsEnd) {
    directory.setFile("proc/bus/pci/00/1f.3", testsupport::Bytes(10, 1));
    const Stream stream = openStream(kConfig);
    ASSERT_TRUE(stream);
    std::setvbuf(stream.get(), nullptr, _IONBF, 0);
    std::array<std::uint8_t, 64> config{};
    EXPECT_EQ(std::fread(config.data(), 1, config.size(), stream.get()), 10U);
    EXPECT_TRUE(std::feof(stream.get()));
    EXPECT_THAT(readSizes(), ElementsAre(64, 10, 54, 0));
}

TEST_F(LiveHostTest, AReadOfMoreThanTheBufferGoesAsStdioSendsIt) {
    directory.setFile("proc/bus/pci/devices", std::string(3000, 'd'));
    const Stream stream = openStream(kDevices);
    ASSERT_TRUE(stream);
    EXPECT_EQ(std::fgetc(stream.get()), 'd');
    std::array<char, 2500> text{};
    EXPECT_EQ(std::fread(text.data(), 5, 500, stream.get()), 500U);
    EXPECT_THAT(text, testing::Each('d'));
    EXPECT_THAT(readSizes(), ElementsAre(1024, 1024, 1024, 1024, 1024, 952));
    EXPECT_EQ(std::fread(text.data(), 200, 3, stream.get()), 2U);
    EXPECT_TRUE(std::feof(stream.get()));
    EXPECT_EQ(std::fread(text.data(), 0, 3, stream.get()), 0U);
}

TEST_F(LiveHostTest, EveryKindOfReadIsRecorded) {
    using Read = std::size_t (*)(void*, FILE*);
    const Read kinds[] = {
        [](void* to, FILE* from) { return std::fread(to, 1, 64, from); },
        [](void* to, FILE* from) { return fread_unlocked(to, 1, 64, from); },
        [](void* to, FILE* from) { return __fread_chk(to, 64, 1, 64, from); },
        [](void* to, FILE* from) { return __fread_unlocked_chk(to, 64, 1, 64, from); },
    };
    for (const Read read : kinds) {
        const Stream stream = openStream(kConfig);
        std::setvbuf(stream.get(), nullptr, _IONBF, 0);
        std::array<char, 64> config{};
        host.clearEvents();
        EXPECT_EQ(read(config.data(), stream.get()), 64U);
        EXPECT_THAT(readSizes(), ElementsAre(64, 64));
        const Stream catalogue = openStream(kCatalogue);
        EXPECT_EQ(read(config.data(), catalogue.get()), 6U);
    }
}

TEST_F(LiveHostTest, StreamsOfProcFilesSeek) {
    const Stream stream = openStream(kConfig);
    ASSERT_TRUE(stream);
    EXPECT_EQ(std::fseek(stream.get(), 0, SEEK_END), 0);
    EXPECT_EQ(std::ftell(stream.get()), 256);
    EXPECT_EQ(std::fseek(stream.get(), 2, SEEK_SET), 0);
    EXPECT_EQ(std::fgetc(stream.get()), 0x34);
}

TEST_F(LiveHostTest, TheCataloguesSizeCanBeTold) {
    const Stream stream = openStream(kCatalogue);
    ASSERT_TRUE(stream);
    struct stat status {};
    EXPECT_EQ(fstat(fileno(stream.get()), &status), 0);
    EXPECT_EQ(status.st_size, 6);
    EXPECT_EQ(std::fseek(stream.get(), 0, SEEK_END), 0);
    EXPECT_EQ(std::ftell(stream.get()), 6);
}

TEST_F(LiveHostTest, StatLooksAtTheDirectory) {
    directory.makeFifo("etc/vmware/fifo").makeDirectory("etc/vmware/folder");
    struct stat status {};
    EXPECT_EQ(stat(kCatalogue, &status), 0);
    EXPECT_EQ(status.st_size, 6);
    EXPECT_EQ(stat("/etc/vmware/fifo", &status), 0);
    EXPECT_TRUE(S_ISFIFO(status.st_mode));
    EXPECT_EQ(lstat("/etc/vmware/folder", &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
    struct stat64 status64 {};
    EXPECT_EQ(stat64(kConfig, &status64), 0);
    EXPECT_EQ(status64.st_size, 256);
    EXPECT_EQ(lstat64(kConfig, &status64), 0);
    EXPECT_EQ(stat("/etc/vmware/nothing", &status), -1);
    EXPECT_EQ(access(kCatalogue, R_OK), 0);
    EXPECT_EQ(access("/etc/vmware/nothing", F_OK), -1);
    EXPECT_EQ(stat("/", &status), 0);
}

TEST_F(LiveHostTest, ADirectoryOpensAndCannotBeRead) {
    directory.makeDirectory("etc/vmware/pci.classlist");
    for (const char* path : {"/etc/vmware/pci.classlist", "/proc/bus/pci/00", "/proc/bus/pci"}) {
        const Stream stream = openStream(path);
        ASSERT_TRUE(stream) << path;
        char byte = 0;
        errno = 0;
        EXPECT_EQ(std::fread(&byte, 1, 1, stream.get()), 0U);
        EXPECT_EQ(errno, EISDIR);
        EXPECT_TRUE(std::ferror(stream.get()));
    }
}

TEST_F(LiveHostTest, StreamsOpenForWritingWriteIntoTheDirectoryButNotBelowProc) {
    EXPECT_GE(std::fputs("text", openStream("/etc/vmware/new", "w").get()), 0);
    EXPECT_EQ(readAll(openStream("/etc/vmware/new").get()), "text");
    for (const char* mode : {"w", "a", "r+"}) {
        EXPECT_EQ(openStream(kConfig, mode), nullptr) << mode;
        EXPECT_EQ(errno, EACCES);
    }
}

TEST_F(LiveHostTest, OpenIsRedirectedToo) {
    const int catalogue = open(kCatalogue, O_RDONLY);
    ASSERT_GE(catalogue, 0);
    char text[8] = {};
    EXPECT_EQ(read(catalogue, text, sizeof text), 6);
    close(catalogue);
    const int made = open64("/etc/vmware/made", O_WRONLY | O_CREAT | O_EXCL, 0600);
    ASSERT_GE(made, 0);
    close(made);
    struct stat status {};
    EXPECT_EQ(stat(directory.path("etc/vmware/made").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(open("/etc/vmware/nothing", O_RDWR), -1);
    const auto opened = host.eventsOf<FileOpened>();
    ASSERT_THAT(opened, SizeIs(3));
    EXPECT_EQ(opened[0].mode, "O_RDONLY");
    EXPECT_EQ(opened[1].mode, "O_WRONLY");
    EXPECT_EQ(opened[2].mode, "O_RDWR");
    EXPECT_FALSE(opened[2].ok);
}

TEST_F(LiveHostTest, FortifiedCodeIsRedirectedToo) {
    for (const int descriptor : {__open_2(kCatalogue, O_RDONLY), __open64_2(kCatalogue, O_RDONLY)}) {
        struct stat status {};
        EXPECT_EQ(fstat(descriptor, &status), 0);
        EXPECT_EQ(status.st_size, 6);
        close(descriptor);
    }
    char name[32] = {};
    EXPECT_EQ(__gethostname_chk(name, sizeof name, sizeof name), 0);
    EXPECT_STREQ(name, "sample");

    const int device = __open_2("/dev/ipmi0", O_RDWR);
    ASSERT_GE(device, 0);
    pollfd item{device, POLLIN, 0};
    EXPECT_EQ(__poll_chk(&item, 1, 5000, sizeof item), 0);
    EXPECT_THAT(host.eventsOf<emulator::Waited>(), SizeIs(1));
    close(device);
}

TEST_F(LiveHostTest, OpenFilesAreCounted) {
    EXPECT_EQ(host.openFiles(), 0U);
    {
        const Stream proc = openStream(kDevices);
        const Stream catalogue = openStream(kCatalogue);
        const Stream machine = openStream("/proc/self/status");
        EXPECT_EQ(host.openFiles(), 2U);
    }
    EXPECT_EQ(host.openFiles(), 0U);
}

TEST_F(LiveHostTest, HostNameIsTheFilesFirstLineUnlessItIsSetOrFails) {
    EXPECT_EQ(hostName(), "sample");
    host.setHostName("other");
    EXPECT_EQ(hostName(), "other");
    host.failHostName(true);
    char name[32] = {};
    EXPECT_EQ(gethostname(name, sizeof name), -1);
    host.failHostName(false);
    EXPECT_EQ(hostName(), "other");
}

TEST_F(LiveHostTest, AHostNameThatDoesNotFitIsCutWithoutATerminator) {
    char name[6] = "-----";
    EXPECT_EQ(gethostname(name, 6), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(std::string(name, 6), "sample");
}

TEST_F(HostTest, HostNameIsTheDirectorysNameWithoutAFile) {
    directory.remove("hostname");
    for (const char* ending : {"", "/", "/."}) {
        const EmulatedHost host(directory.directory() + ending);
        EXPECT_EQ(hostName(), directory.path("").parent_path().filename());
    }
}

/** vsyslog, or what it is for fortified code. */
void logList(bool fortified, int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    if (fortified)
        __vsyslog_chk(priority, 1, format, arguments);
    else
        vsyslog(priority, format, arguments);
    va_end(arguments);
}

// Apart, since ISO C++'s own formats do not know %m.
constexpr const char* kWithErrno = "%s: %m";

TEST_F(LiveHostTest, SyslogLinesAreRecordedWithTheirPriority) {
    syslog(LOG_ERR, "slot [%x] of %s", 0x1F, "bus");
    logList(false, LOG_LOCAL0 | LOG_INFO, "%d\n", 7);
    __syslog_chk(LOG_DEBUG, 1, "%s", "fortified");
    logList(true, LOG_EMERG, "%c%c", 'o', 'k');
    errno = ENOENT;
    logList(false, LOG_ERR, kWithErrno, "file");
    EXPECT_EQ(errno, ENOENT);
    const auto lines = host.eventsOf<LogLine>();
    ASSERT_THAT(lines, SizeIs(5));
    EXPECT_EQ(lines[0].priority, 3);
    EXPECT_EQ(lines[1].priority, LOG_LOCAL0 | LOG_INFO);
    EXPECT_EQ(lines[2].priority, LOG_DEBUG);
    EXPECT_EQ(lines[3].priority, LOG_EMERG);
    EXPECT_THAT(host.logTexts(),
                ElementsAre("slot [1f] of bus", "7", "fortified", "ok", "file: No such file or directory"));
}

TEST_F(LiveHostTest, LongSyslogLinesAreWhole) {
    const std::string text(10000, 'x');
    syslog(LOG_ERR, "%s", text.c_str());
    EXPECT_THAT(host.logTexts(), ElementsAre(text));
    host.clearEvents();
    EXPECT_THAT(host.logTexts(), IsEmpty());
}

TEST_F(LiveHostTest, WithoutKeepingOnlyTheLastEventStays) {
    std::size_t heard = 0;
    host.onEvent([&heard](const emulator::Event&) { ++heard; });
    syslog(LOG_ERR, "one");
    host.keepEvents(false);
    syslog(LOG_ERR, "two");
    syslog(LOG_ERR, "three");
    EXPECT_THAT(host.logTexts(), ElementsAre("three"));
    host.keepEvents(true);
    syslog(LOG_ERR, "four");
    EXPECT_THAT(host.logTexts(), ElementsAre("three", "four"));
    EXPECT_EQ(heard, 4U);
}

std::vector<std::string> namesIn(DIR* stream) {
    std::vector<std::string> names;
    while (const dirent* entry = stream != nullptr ? readdir(stream) : nullptr)
        if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    if (stream != nullptr) closedir(stream);
    return names;
}

TEST_F(LiveHostTest, DirectoriesAreListedAsTheyAreOnTheHost) {
    EXPECT_THAT(namesIn(opendir("/proc/bus/pci")), UnorderedElementsAre("devices", "00"));
    EXPECT_THAT(namesIn(opendir("/proc/bus/pci/00")), ElementsAre("1f.3"));
    EXPECT_THAT(namesIn(opendir("/etc/vmware/")), ElementsAre("pci.xml"));
    EXPECT_EQ(opendir("/proc/bus/pci/77"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_THAT(namesIn(opendir("/proc/self")), testing::Contains("status"));
    const auto opened = host.eventsOf<FileOpened>();
    ASSERT_THAT(opened, SizeIs(4));
    EXPECT_EQ(opened[0].path, "/proc/bus/pci");
    EXPECT_EQ(opened[0].mode, "directory");
    EXPECT_TRUE(opened[0].ok);
    EXPECT_FALSE(opened[3].ok);
}

TEST_F(LiveHostTest, WhatIsBelowADirectoryIsTheHostsToo) {
    const int bus = open("/proc/bus/pci/00", O_RDONLY | O_DIRECTORY);
    ASSERT_GE(bus, 0);
    struct stat status {};
    EXPECT_EQ(fstatat(bus, "1f.3", &status, 0), 0);
    EXPECT_EQ(status.st_size, 256);
    const int config = openat(bus, "1f.3", O_RDONLY);
    EXPECT_GE(config, 0);
    close(config);
    close(bus);
    const std::string before = std::filesystem::current_path().string();
    ASSERT_EQ(chdir("/proc/bus/pci"), 0);
    EXPECT_EQ(access("00/1f.3", F_OK), 0);
    ASSERT_EQ(chdir(before.c_str()), 0);
}

TEST_F(LiveHostTest, EveryWayToAskForAFileLeadsToTheDirectory) {
    struct stat status {};
    EXPECT_EQ(fstatat(AT_FDCWD, kConfig, &status, AT_SYMLINK_NOFOLLOW), 0);
    EXPECT_EQ(status.st_size, 256);
    struct stat64 status64 {};
    EXPECT_EQ(fstatat64(AT_FDCWD, kConfig, &status64, 0), 0);
    EXPECT_EQ(status64.st_size, 256);
    struct statx extended {};
    EXPECT_EQ(statx(AT_FDCWD, kConfig, 0, STATX_SIZE, &extended), 0);
    EXPECT_EQ(extended.stx_size, 256U);
    EXPECT_EQ(faccessat(AT_FDCWD, kConfig, R_OK, 0), 0);
    EXPECT_EQ(faccessat(AT_FDCWD, "/proc/bus/pci/77", F_OK, 0), -1);
    for (const auto open :
         {+[] { return openat(AT_FDCWD, kConfig, O_RDONLY); }, +[] { return openat64(AT_FDCWD, kConfig, O_RDONLY); },
          +[] { return __openat_2(AT_FDCWD, kConfig, O_RDONLY); },
          +[] { return __openat64_2(AT_FDCWD, kConfig, O_RDONLY); }}) {
        const int descriptor = open();
        EXPECT_EQ(lseek(descriptor, 0, SEEK_END), 256);
        close(descriptor);
    }
    EXPECT_THAT(host.eventsOf<FileOpened>(), SizeIs(4));
}

TEST_F(LiveHostTest, TheDeviceIsACharacterDeviceAtItsPathAlone) {
    struct stat status {};
    EXPECT_EQ(stat("/dev/ipmi0", &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    EXPECT_EQ(access("/dev/ipmi0", R_OK | W_OK), 0);
    EXPECT_EQ(access("/dev/ipmidev/0", F_OK), -1);
    EXPECT_EQ(errno, ENOENT);
    const int device = openat(AT_FDCWD, "/dev/ipmi0", O_RDWR);
    EXPECT_EQ(host.openFiles(), 1U);
    close(device);
    host.useSecondDevice(true);
    EXPECT_EQ(access("/dev/ipmi0", F_OK), -1);
    EXPECT_EQ(access("/dev/ipmidev/0", F_OK), 0);
    host.removeDevice(true);
    EXPECT_EQ(access("/dev/ipmidev/0", F_OK), -1);
}

TEST_F(LiveHostTest, TheFileHookMayChangeTheDirectoryBeforeTheFileIsLookedUp) {
    std::vector<std::string> paths;
    host.onFileOpen([this, &paths](const std::string& path) {
        paths.push_back(path);
        EXPECT_THAT(host.eventsOf<FileOpened>(), SizeIs(paths.size() - 1));
        directory.setCatalogue("changed");
    });
    EXPECT_EQ(readAll(openStream(kCatalogue).get()), "changed");
    host.onFileOpen(nullptr);
    openStream(kCatalogue);
    EXPECT_THAT(paths, ElementsAre(kCatalogue));
}

// The fopen of clang's sanitizer runtimes, which stands in front of ours, lets no exception through.
#if defined(__has_feature)
constexpr bool kFopenLetsExceptionsThrough = !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer);
#else
constexpr bool kFopenLetsExceptionsThrough = true;
#endif

TEST_F(LiveHostTest, TheFileHookMayThrow) {
    if (!kFopenLetsExceptionsThrough) GTEST_SKIP() << "no exception passes the sanitizer's fopen";
    host.onFileOpen([](const std::string&) { throw std::runtime_error("hook"); });
    EXPECT_THROW(openStream(kCatalogue), std::runtime_error);
    EXPECT_THROW(openStream(kDevices), std::runtime_error);
    host.onFileOpen([](const std::string&) { throw 7; });
    EXPECT_THROW(openStream(kCatalogue), int);
    EXPECT_EQ(host.openFiles(), 0U);
}

TEST_F(LiveHostTest, TheListenerHearsEverythingAndIsNotRecordedItself) {
    std::vector<std::string> lines;
    host.onEvent([&lines](const emulator::Event& event) {
        lines.push_back(emulator::describe(event));
        EXPECT_EQ(access(kCatalogue, F_OK), -1);  // the machine has none
        errno = EIO;
    });
    syslog(LOG_ERR, "a\tb");
    readAll(openStream(kConfig).get());
    errno = 0;
    EXPECT_FALSE(openStream("/etc/vmware/nothing"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_THAT(lines, ElementsAre("syslog <3> a\\x09b", "fopen /proc/bus/pci/00/1f.3 r",
                                   "read /proc/bus/pci/00/1f.3 1024 -> 256", "read /proc/bus/pci/00/1f.3 1024 -> 0",
                                   "fopen /etc/vmware/nothing r -> failed"));
    EXPECT_THAT(host.events(), SizeIs(lines.size()));
}

TEST_F(LiveHostTest, ManyThreadsReadAtOnce) {
    const auto work = [] {
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(readAll(openStream(kConfig).get()).size(), 256U);
            syslog(LOG_ERR, "line");
        }
    };
    std::thread others[] = {std::thread(work), std::thread(work), std::thread(work)};
    work();
    for (std::thread& other : others) other.join();
    EXPECT_THAT(host.eventsOf<FileOpened>(), SizeIs(200));
    EXPECT_THAT(host.logTexts(), SizeIs(200));
    EXPECT_EQ(host.openFiles(), 0U);
}

TEST_F(HostTest, OnlyOneHostLivesAtATime) {
    {
        const EmulatedHost first(directory.directory());
        EXPECT_THROW(EmulatedHost(directory.directory()), std::logic_error);
        EXPECT_THROW(EmulatedHost(), std::logic_error);
        EXPECT_TRUE(openStream(kCatalogue));
    }
    const EmulatedHost second(directory.directory());
    EXPECT_TRUE(openStream(kCatalogue));
}

TEST_F(HostTest, WithoutAHostEverythingReachesTheMachine) {
    const auto before = std::chrono::steady_clock::now();
    {
        const EmulatedHost host(directory.directory());
        EXPECT_TRUE(openStream(kCatalogue));
        const int device = open("/dev/ipmi0", O_RDWR);
        pollfd item{device, POLLIN, 0};
        EXPECT_EQ(poll(&item, 1, 3600 * 1000), 0);
        close(device);
        EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::hours(1));
    }
    EXPECT_FALSE(openStream(kCatalogue));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::minutes(30));
}

TEST_F(HostTest, ADeviceThatIsLeftOpenCanBeClosedLater) {
    int device = -1;
    {
        const EmulatedHost host(directory.directory());
        device = open("/dev/ipmi0", O_RDWR);
        EXPECT_EQ(host.openFiles(), 1U);
    }
    const EmulatedHost host(directory.directory());
    EXPECT_EQ(close(device), 0);
    EXPECT_EQ(host.openFiles(), 0U);
    EXPECT_THAT(host.events(), IsEmpty());
}

TEST_F(HostTest, ADirectoryThatIsNotThereOrHasAWrongFaultScriptIsAnError) {
    EXPECT_THROW(EmulatedHost(directory.path("nothing").string()), std::runtime_error);
    EXPECT_THROW(EmulatedHost(directory.path("hostname").string()), std::runtime_error);
    directory.setFaults("{");
    EXPECT_THROW(EmulatedHost(directory.directory()), std::runtime_error);
    directory.setFaults("{}");
    EXPECT_NO_THROW(EmulatedHost(directory.directory()));
}

TEST_F(HostTest, TheBmcHoldsTheDirectorysFilesAndFaults) {
    directory.setBmcFile("smbios-table", {1, 2, 3});
    directory.setFaults(R"({"faults": [{"on": "deviceOpen", "missing": true}]})");
    EmulatedHost host(directory.directory());
    EXPECT_EQ(host.bmc().file("smbios-table"), emulator::Bytes({1, 2, 3}));
    EXPECT_EQ(open("/dev/ipmi0", O_RDWR), -1);
    const int device = open("/dev/ipmi0", O_RDWR);
    EXPECT_GE(device, 0);
    close(device);
}

TEST(MachineHostTest, ThisMachineIsRecordedAsItIs) {
    std::ifstream devices(kDevices);
    const std::string content(std::istreambuf_iterator<char>(devices), {});
    const std::string name = hostName();

    EmulatedHost host;
    EXPECT_EQ(hostName(), name);
    EXPECT_FALSE(openStream("/etc/vmware/nothing"));
    const Stream stream = openStream(kDevices);
    EXPECT_EQ(stream ? readAll(stream.get()) : "", content);
    const auto opened = host.eventsOf<FileOpened>();
    ASSERT_THAT(opened, SizeIs(2));
    EXPECT_FALSE(opened[0].ok);
    EXPECT_EQ(opened[1].ok, stream != nullptr);
    std::size_t got = 0;
    for (const FileRead& read : host.eventsOf<FileRead>()) got += read.got;
    EXPECT_EQ(got, content.size());
    syslog(LOG_DEBUG, "a test of %s", "events");
    EXPECT_THAT(host.logTexts(), ElementsAre("a test of events"));
    host.setHostName("named");
    EXPECT_EQ(hostName(), "named");
}

TEST(MachineHostTest, TheMachinesOwnDeviceIsTriedAndRecorded) {
    EmulatedHost host;
    const int device = open("/dev/ipmidev/0", O_RDWR);
    const auto opened = host.eventsOf<emulator::DeviceOpened>();
    ASSERT_THAT(opened, SizeIs(1));
    EXPECT_EQ(opened[0].ok, device >= 0);
    if (device >= 0) {
        close(device);
        GTEST_SKIP() << "this machine has an IPMI device";
    }
    host.setRealWaits(false);
    pollfd item{-1, POLLIN, 0};
    EXPECT_EQ(poll(&item, 1, 5000), 0);
    EXPECT_THAT(host.eventsOf<emulator::Waited>(), SizeIs(1));
}

}  // namespace

// What runs inside the virtual machine beside the command line: requests to the provider in one process that lives on
// between them, exchanges with the BMC past the provider, and orders to the BMC (see serialbmc.h).
//
//     vmclient OUTPUT LIBRARY STEP...
//
// A step is VERB or VERB=ARGUMENT, or a request as cimhost takes it, "COMMAND SUBJECT [--FILTER CLASS]". Each writes
// one JSON object as a line of OUTPUT: the step, how long it took in seconds, how many descriptors of an IPMI device
// the process has open afterwards, and what came of it. The first step that fails ends the program with status 1.

#include <linux/ipmi.h>
#include <linux/ipmi_msgdefs.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bench/transfer.h"
#include "broker/broker.h"
#include "ipmi/IpmiDataStore.h"
#include "tests/emulator/datastore.h"
#include "tests/emulator/ipmiclient.h"

namespace {

namespace fs = std::filesystem;
using emulator::Bytes;
using Clock = std::chrono::steady_clock;
using Json = nlohmann::ordered_json;
using Seconds = std::chrono::duration<double>;

constexpr const char* kTable = "smbios-table";

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what);
}

std::size_t ipmiDescriptors() {
    std::size_t count = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;  // the descriptor of the iteration itself
        if (fs::read_symlink(entry.path(), gone).string().rfind("/dev/ipmi", 0) == 0) ++count;
    }
    return count;
}

/** The device as the provider looks for it, on a descriptor of our own. */
class Device {
 public:
    Device() : client_(fs::exists("/dev/ipmi0") ? "/dev/ipmi0" : "/dev/ipmidev/0") {
        if (!client_.isOpen()) fail("no IPMI device opens");
    }
    /** The answer to a message; one without a completion code, or another one than 0, is a failure. */
    Bytes ask(const emulator::Request& request) {
        Bytes answer = exchange(request);
        if (answer.empty() || answer[0] != 0) fail("the BMC refuses a message or does not answer it");
        return answer;
    }
    bool answers(const emulator::Request& request) {
        const Bytes answer = exchange(request);
        return !answer.empty() && answer[0] == 0;
    }
    /** Whatever comes; empty when nothing does. */
    Bytes exchange(const emulator::Request& request) { return client_.exchange(request); }

 private:
    IpmiClient client_;
};

Json conduct(std::uint8_t command, const Bytes& data) {
    Device().ask({0x30, command, data});
    return {};
}

Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

Json selectProfile(const std::string& name) {
    return conduct(1, bytesOf(name));
}

Json desynchronise(const std::string& message) {
    return conduct(2, {static_cast<std::uint8_t>(std::stoi(message))});
}

Json mark(const std::string& text) {
    return conduct(3, bytesOf(text));
}

/** Waits until the BMC answers again, 10 s at most. */
Json awaitBmc(const std::string&) {
    constexpr std::chrono::milliseconds kPause{50};
    const auto end = Clock::now() + std::chrono::seconds(10);
    Device device;
    while (!device.answers({0x06, 0x01, {}})) {
        if (Clock::now() > end) fail("the BMC does not come back");
        std::this_thread::sleep_for(kPause);
    }
    return {};
}

/** What the message that opens the table is answered with, by the BMC or in its place. */
Json answerToOpen(const std::string&) {
    return {{"answer", Device().exchange(datastore::open(kTable))}};
}

/** The exchanges by which the provider fetches the table, and nothing but them. */
Json bareTransfer(const std::string&) {
    Device device;
    unsigned exchanges = 0;
    const auto ask = [&](const emulator::Request& request) {
        ++exchanges;
        return device.ask(request);
    };
    const std::uint32_t handle = datastore::number(ask(datastore::open(kTable)));
    ask(datastore::querySize(kTable));
    constexpr std::size_t kChunk = 200;
    for (std::size_t offset = 0; offset < tPCIInfo::kFileArea; offset += kChunk) {
        const auto count = static_cast<std::uint8_t>(std::min(kChunk, tPCIInfo::kFileArea - offset));
        ask(datastore::read(handle, static_cast<std::uint32_t>(offset), count));
    }
    ask(datastore::close(handle));
    return {{"exchanges", exchanges}};
}

// --- the product's data store class, past the provider ---

constexpr std::uint8_t kOpenOption = 16;

void write(const std::string& name, const tPCIInfo::ByteVector& content) {
    if (tPCIInfo::connect_kcs() != 0) fail("no IPMI device opens");
    std::uint8_t code = 0;
    const std::int32_t result = tPCIInfo::IpmiDataStore().WriteFile(code, name, content, false, kOpenOption);
    tPCIInfo::disconnect_kcs();
    if (code != 0 || result <= 0) fail("cannot write " + name);
}

/** Whether the file is there and begins with the content. */
bool holds(const std::string& name, const tPCIInfo::ByteVector& content) {
    tPCIInfo::ByteVector read;
    std::uint8_t code = 0;
    const std::int32_t result =
        tPCIInfo::IpmiDataStore().ReadFile(code, name, read, false, kOpenOption, tPCIInfo::kAccessRead, false);
    tPCIInfo::disconnect_kcs();
    return code == 0 && result == 0 && std::equal(content.begin(), content.end(), read.data());
}

double processorSeconds() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/** So many readings of the table by the product, and as many by a bare loop, in turn: the thread's processor time. */
Json processorTimes(const std::string& count) {
    std::vector<double> ours;
    std::vector<double> bare;
    const auto timed = [](std::vector<double>& times, const auto& transfer) {
        const double start = processorSeconds();
        transfer();
        times.push_back(processorSeconds() - start);
    };
    for (int i = std::stoi(count); i > 0; --i) {
        timed(ours, [] { holds(kTable, {}); });
        timed(bare, bench::bareTransfer);
    }
    return {{"ours", ours}, {"bare", bare}};
}

void remove(const std::string& name) {
    if (tPCIInfo::connect_kcs() != 0) fail("no IPMI device opens");
    std::uint8_t code = 0;
    const std::int32_t result = tPCIInfo::IpmiDataStore().DeleteFile(code, name);
    tPCIInfo::disconnect_kcs();
    if (code != 0 || result != 0) fail("cannot delete " + name);
}

/** Puts a file into the data store as the host's SMBIOS table; another one is written, read, deleted and missed. */
Json store(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    tPCIInfo::ByteVector content;
    std::copy(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>(), std::back_inserter(content));
    if (content.empty()) fail("cannot read " + path);
    write(kTable, content);
    write("scratch", content);
    const bool scratchHeld = holds("scratch", content);
    remove("scratch");
    return {{"written", content.size()},
            {"readBack", holds(kTable, content)},
            {"scratchReadBack", scratchHeld},
            {"scratchAfterDeletion", holds("scratch", content)}};
}

/** Goes on as another user, who cannot come back. */
Json becomeUser(const std::string& number) {
    const auto user = static_cast<uid_t>(std::stoul(number));
    if (::setgid(user) != 0 || ::setuid(user) != 0) fail("cannot become user " + number);
    ::prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);  // else /proc/self/fd is closed to its own process
    return {};
}

/** The driver's request numbers have the sizes of the records in them, which differ with the program's width. */
Json about(const std::string&) {
    return {{"bits", 8 * sizeof(void*)},
            {"send", static_cast<std::uint64_t>(IPMICTL_SEND_COMMAND)},
            {"receive", static_cast<std::uint64_t>(IPMICTL_RECEIVE_MSG_TRUNC)}};
}

// --- requests to the provider ---

/** COMMAND and SUBJECT, and a filter after it, as the command line takes them. */
broker::Response requested(const std::string& command, const std::string& words, broker::Broker& manager) {
    const std::string subject = words.substr(0, words.find(" --"));
    const auto filter = [&](const std::string& option) {
        const std::size_t place = words.find(option);
        return place == std::string::npos ? std::nullopt : std::make_optional(words.substr(place + option.size()));
    };
    if (command == "enumerate") return manager.enumerateInstances({"root/kavix", subject, {}});
    const broker::ObjectPath object = broker::parseObjectPath(subject);
    if (command == "get") return manager.getInstance(object);
    broker::Filters filters;
    filters.assocClass = filter(" --assoc-class ");
    filters.resultClass = filter(" --result-class ");
    if (command == "associators") return manager.associators(object, filters);
    if (command == "references") return manager.references(object, filters);
    fail("no such step");
}

/** The status, then the instances and their properties, a line each. */
Json answerOf(const broker::Response& response) {
    std::string lines = broker::statusName(response.status) + '\n';
    for (const broker::Instance& instance : response.instances) {
        lines += broker::toString(instance.path) + '\n';
        for (const broker::Property& property : instance.properties)
            lines += "  " + property.name + " = " + broker::typeName(property.value.type) + " " +
                     broker::toString(property.value) + '\n';
    }
    return {{"delivered", lines}};
}

/** Sixteen requests for a class's instances at once, each on a thread of its own. */
Json sixteenAtOnce(const std::string& className, broker::Broker& manager) {
    constexpr std::size_t kRequests = 16;
    std::vector<Json> answers(kRequests);
    std::vector<std::thread> threads;
    threads.reserve(kRequests);
    for (Json& answer : answers) {
        threads.emplace_back([&manager, &answer, &className] {
            const auto start = Clock::now();
            answer = answerOf(requested("enumerate", className, manager));
            answer["seconds"] = Seconds(Clock::now() - start).count();
        });
    }
    for (std::thread& thread : threads) thread.join();
    return {{"requests", std::move(answers)}};
}

/** The provider, once it is needed: the steps before may change what it finds. */
class Provider {
 public:
    explicit Provider(std::string library) : library_(std::move(library)) {}

    broker::Broker& manager() {
        if (!loaded_) broker_.load(library_);
        loaded_ = true;
        broker_.recordCalls(false);
        return broker_;
    }

 private:
    const std::string library_;
    broker::Broker broker_;
    bool loaded_ = false;
};

Json perform(Provider& provider, const std::string& step) {
    using Verb = Json (*)(const std::string&);
    static const std::map<std::string, Verb> kVerbs = {
        {"profile", selectProfile}, {"desynchronise", desynchronise}, {"mark", mark},   {"await", awaitBmc},
        {"answer", answerToOpen},   {"bare", bareTransfer},           {"store", store}, {"about", about},
        {"user", becomeUser},       {"processor", processorTimes}};

    const std::size_t end = std::min(step.find_first_of("= "), step.size());
    const std::string verb = step.substr(0, end);
    const std::string argument = end < step.size() ? step.substr(end + 1) : "";
    if (const auto found = kVerbs.find(verb); found != kVerbs.end()) return found->second(argument);
    if (verb == "sixteen-at-once") return sixteenAtOnce(argument, provider.manager());
    if (verb != "load") return answerOf(requested(verb, argument, provider.manager()));
    provider.manager();
    return {};
}

void run(std::ostream& output, Provider& provider, const std::string& step) {
    const auto start = Clock::now();
    const Json result = perform(provider, step);
    const Seconds elapsed = Clock::now() - start;
    Json line = {{"step", step}, {"seconds", elapsed.count()}, {"ipmiDescriptors", ipmiDescriptors()}};
    if (!result.is_null()) line.update(result);
    output << line.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    std::ofstream output(argv[1], std::ios::app);
    Provider provider(argv[2]);
    for (int i = 3; i < argc; ++i) {
        try {
            run(output, provider, argv[i]);
        } catch (const std::exception& error) {
            output << Json{{"step", argv[i]}, {"error", error.what()}}.dump() << std::endl;
            std::fprintf(stderr, "vmclient: %s: %s\n", argv[i], error.what());
            return 1;
        }
    }
    return output ? 0 : 1;
}

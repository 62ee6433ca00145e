// The reader of fault scripts and of the folder bmc/ of a host directory. Held by tests/emulator/faultscript_test.cpp.
#include "emulator/faultscript.h"

#include <fmt/format.h>

#include <charconv>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "emulator/filereader.h"

namespace emulator {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr const char* kScriptName = "faults.json";
constexpr const char* kDefaultsFolder = "defaults";
constexpr std::size_t kLongestScript = 1 << 20;  // bytes
constexpr int kDeepest = 4;                      // the bytes of an answer, in a fault, in the list, in the script

[[noreturn]] void fail(const std::string& key, const std::string& what) {
    throw std::runtime_error(key + ": " + what);
}

/** A value that is nested deeper than any script is refused while it is read: writing and destroying it take stack. */
json parsed(const Bytes& text) {
    if (text.size() > kLongestScript) throw std::runtime_error(fmt::format("longer than {} bytes", kLongestScript));
    return json::parse(text.begin(), text.end(), [](int depth, json::parse_event_t, const json&) {
        if (depth > kDeepest) throw std::runtime_error("nested too deeply");
        return true;
    });
}

std::uint64_t hexadecimal(const std::string& text, const std::string& key) {
    const std::size_t prefix = text.rfind("0x", 0) == 0 ? 2 : 0;
    const char* end = text.data() + text.size();
    std::uint64_t number = 0;
    const auto [rest, error] = std::from_chars(text.data() + prefix, end, number, 16);
    if (prefix == 0 || error != std::errc() || rest != end) fail(key, "'" + text + "' is no number like \"0xC3\"");
    return number;
}

Occasion occasion(const json& value, const std::string& key) {
    static const std::map<std::string, Occasion> kOccasions = {
        {"open", Occasion::open},
        {"read", Occasion::read},
        {"write", Occasion::write},
        {"writeDefaults", Occasion::writeDefaults},
        {"close", Occasion::close},
        {"querySize", Occasion::querySize},
        {"remove", Occasion::remove},
        {"any", Occasion::any},
        {"deviceOpen", Occasion::deviceOpen},
    };
    const auto found = kOccasions.find(value.is_string() ? value.get<std::string>() : std::string());
    if (found == kOccasions.end()) fail(key, "unknown occasion " + value.dump());
    return found->second;
}

std::uint64_t number(const json& value, const std::string& key) {
    if (value.is_string()) return hexadecimal(value.get<std::string>(), key);
    if (!value.is_number_unsigned()) fail(key, "must be a number from 0 on");
    return value.get<std::uint64_t>();
}

template <typename Number>
void assign(Number& to, const json& value, const std::string& key) {
    const std::uint64_t given = number(value, key);
    if (given > static_cast<std::uint64_t>(std::numeric_limits<Number>::max())) fail(key, "number too large");
    to = static_cast<Number>(given);
}
void assign(bool& to, const json& value, const std::string& key) {
    if (!value.is_boolean()) fail(key, "must be true or false");
    to = value.get<bool>();
}
void assign(Occasion& to, const json& value, const std::string& key) {
    to = occasion(value, key);
}
void assign(Bytes& to, const json& value, const std::string& key) {
    if (!value.is_array()) fail(key, "must be an array of bytes");
    for (const json& element : value) assign(to.emplace_back(), element, key);
}
template <typename Value>
void assign(std::optional<Value>& to, const json& value, const std::string& key) {
    assign(to.emplace(), value, key);
}

/** What one key of an object of type Target does with its value. */
template <typename Target>
using Setter = std::function<void(Target&, const json& value, const std::string& key)>;

template <typename Target, typename Member>
Setter<Target> member(Member Target::*pointer) {
    return
        [pointer](Target& target, const json& value, const std::string& key) { assign(target.*pointer, value, key); };
}

/** `place`: the object's own key in front of its members' keys, empty at the top. */
template <typename Target>
Target readObject(const json& object, const std::map<std::string, Setter<Target>>& setters, const std::string& place) {
    if (!object.is_object()) fail(place.empty() ? "top level" : place, "must be an object");
    Target target;
    for (const auto& [name, value] : object.items()) {
        const std::string key = place.empty() ? name : fmt::format("{}.{}", place, name);
        const auto setter = setters.find(name);
        if (setter == setters.end()) fail(key, "unknown key");
        setter->second(target, value, key);
    }
    return target;
}

Fault readFault(const json& object, const std::string& place) {
    static const std::map<std::string, Setter<Fault>> kSetters = {
        {"on", member(&Fault::on)},
        {"from", member(&Fault::from)},
        {"times", member(&Fault::times)},
        {"completionCode", member(&Fault::completionCode)},
        {"length", member(&Fault::length)},
        {"netfn", member(&Fault::netfn)},
        {"command", member(&Fault::command)},
        {"receiveType", member(&Fault::receiveType)},
        {"countField", member(&Fault::countField)},
        {"data", member(&Fault::data)},
        {"receiveFailures", member(&Fault::receiveFailures)},
        {"receiveErrno", member(&Fault::receiveErrno)},
        {"delayMs", member(&Fault::delayMs)},
        {"pollErrno", member(&Fault::pollErrno)},
        {"timeout", member(&Fault::timeout)},
        {"vanish", member(&Fault::vanish)},
        {"missing", member(&Fault::missing)},
    };
    Fault fault = readObject(object, kSetters, place);
    if (fault.from == 0) fail(place + ".from", "occasions are counted from 1");
    if (fault.missing != (fault.on == Occasion::deviceOpen))
        fail(place, "\"missing\" is the fault of \"deviceOpen\" and of nothing else");
    return fault;
}

void readFaults(FaultScript& script, const json& value, const std::string& key) {
    if (!value.is_array()) fail(key, "must be an array");
    for (const json& object : value)
        script.faults.push_back(readFault(object, fmt::format("{}[{}]", key, script.faults.size())));
}

template <typename Put>
void eachFile(const fs::path& folder, const Put& put) {
    if (!fs::is_directory(folder)) return;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder))
        if (entry.exists() && !entry.is_directory()) put(entry.path().filename().string(), entry.path().string());
}

}  // namespace

FaultScript readFaultScript(const std::string& file) {
    static const std::map<std::string, Setter<FaultScript>> kSetters = {
        {"readLimit", member(&FaultScript::readLimit)},
        {"endOfFile", member(&FaultScript::endOfFile)},
        {"faults", readFaults},
    };
    const Bytes text = readFile(file, kLongestScript + 1);
    try {
        return readObject(parsed(text), kSetters, "");
    } catch (const std::exception& error) {
        throw std::runtime_error(file + ": " + error.what());
    }
}

void loadDataStore(Bmc& bmc, const std::string& folder) {
    eachFile(folder, [&bmc](const std::string& name, const std::string& path) {
        if (name != kScriptName) bmc.putFile(name, readFile(path, Bmc::kFileArea));
    });
    eachFile(fs::path(folder) / kDefaultsFolder, [&bmc](const std::string& name, const std::string& path) {
        bmc.putDefaults(name, readFile(path, Bmc::kFileArea));
    });

    const fs::path script = fs::path(folder) / kScriptName;
    if (!fs::exists(script)) return;
    const FaultScript behaviour = readFaultScript(script.string());
    bmc.setReadLimit(behaviour.readLimit);
    bmc.setEndOfFile(behaviour.endOfFile);
    for (const Fault& fault : behaviour.faults) bmc.addFault(fault);
}

}  // namespace emulator

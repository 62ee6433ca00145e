// The configuration, read with yaml-cpp. Tests: tests/exporter/config_test.cpp.
#include "exporter/config.h"

#include <fmt/format.h>
#include <fnmatch.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <functional>
#include <regex>
#include <set>
#include <sstream>
#include <system_error>
#include <tuple>
#include <utility>

namespace exporter {

namespace {

constexpr std::size_t kTargetLength = 261;  // of a name of 255 bytes with a port
constexpr const char* kCredentials = "/run/credentials/";
constexpr Milliseconds kLongest = std::chrono::hours(24 * 365);

class Reader {
 public:
    Reader(std::string file, Warn warn) : file_(std::move(file)), warn_(std::move(warn)) {}

    Config read(const std::string& text) const {
        try {
            return configOf(YAML::Load(text));
        } catch (const YAML::ParserException& error) {
            throw ConfigError(fmt::format("{}:{}: {}", file_, error.mark.line + 1, error.msg));
        }
    }

 private:
    /** What to do with a key's value. */
    using Keys = std::map<std::string, std::function<void(const YAML::Node&)>>;

    std::string located(const YAML::Node& node, const std::string& what) const {
        return fmt::format("{}:{}: {}", file_, std::max(node.Mark().line, 0) + 1, what);
    }

    [[noreturn]] void fail(const YAML::Node& node, const std::string& what) const {
        throw ConfigError(located(node, what));
    }

    void readMap(const YAML::Node& node, const std::string& what, const Keys& keys) const {
        eachOf(node, what, [&](const std::string& key, const YAML::Node& keyNode, const YAML::Node& value) {
            const auto known = keys.find(key);
            if (known == keys.end()) fail(keyNode, fmt::format("unknown key \"{}\" in {}", key, what));
            known->second(value);
        });
    }

    template <typename Action>
    void eachOf(const YAML::Node& node, const std::string& what, const Action& action) const {
        if (!node.IsMap()) fail(node, fmt::format("{} has to be a map of keys and values", what));
        std::set<std::string> seen;
        for (const auto& entry : node) {
            const std::string key = text(entry.first, "a key");
            if (!seen.insert(key).second) fail(entry.first, fmt::format("\"{}\" a second time in {}", key, what));
            action(key, entry.first, entry.second);
        }
    }

    std::string text(const YAML::Node& node, const std::string& what) const {
        if (!node.IsScalar() || node.Scalar().empty()) fail(node, fmt::format("{} has to be a text", what));
        return node.Scalar();
    }

    bool truth(const YAML::Node& node, const std::string& what) const {
        if (node.IsScalar() && node.Scalar() == "true") return true;
        if (node.IsScalar() && node.Scalar() == "false") return false;
        fail(node, fmt::format("{} has to be true or false", what));
    }

    std::size_t number(const YAML::Node& node, const std::string& what, std::size_t least, std::size_t most) const {
        std::size_t value = 0;
        const std::string digits = node.IsScalar() ? node.Scalar() : "";
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        if (error != std::errc() || end != digits.data() + digits.size() || value < least || value > most)
            fail(node, fmt::format("{} has to be a number from {} to {}", what, least, most));
        return value;
    }

    Milliseconds duration(const YAML::Node& node, const std::string& what, Milliseconds least) const {
        static const std::map<std::string, long> kUnits = {
            {"ms", 1}, {"s", 1000}, {"m", 60000}, {"h", 3600000}, {"d", 86400000}};
        const std::regex form("([0-9]{1,6})(ms|s|m|h|d)");
        std::smatch parts;
        const std::string written = node.IsScalar() ? node.Scalar() : "";
        if (!std::regex_match(written, parts, form))
            fail(node, fmt::format("{} has to be a time, such as 500ms, 30s, 5m or 1h", what));
        const Milliseconds value(std::stol(parts[1]) * kUnits.at(parts[2]));
        if (value < least) fail(node, fmt::format("{} has to be {} ms at least", what, least.count()));
        if (value > kLongest) fail(node, fmt::format("{} has to be 365d at most", what));
        return value;
    }

    std::string readableFile(const YAML::Node& node, const std::string& what) const {
        std::string name = text(node, what);
        if (name.front() != '/') fail(node, fmt::format("{} has to be an absolute path", what));
        errno = 0;
        if (std::ifstream file(name); !file || file.peek() == std::ifstream::traits_type::eof()) {
            const std::string trouble =
                fmt::format("{}: {} {}", what, name, errno != 0 ? std::generic_category().message(errno) : "is empty");
            if (!warn_ || name.rfind(kCredentials, 0) != 0) fail(node, trouble);
            warn_(located(node, trouble + "; it has to be there when the service starts"));
        }
        return name;
    }

    std::vector<std::string> patterns(const YAML::Node& node) const {
        if (!node.IsSequence() || node.size() == 0) fail(node, "targets has to be a list of patterns");
        std::vector<std::string> all;
        for (const YAML::Node& pattern : node) all.push_back(text(pattern, "a pattern of targets"));
        return all;
    }

    Module moduleOf(const YAML::Node& node, const std::string& name) const {
        Module module;
        const auto time = [this](const char* key, Milliseconds& member, Milliseconds least) {
            return Keys::value_type{key,
                                    [=, &member](const YAML::Node& value) { member = duration(value, key, least); }};
        };
        readMap(node, fmt::format("module \"{}\"", name),
                {{"scheme",
                  [&](const YAML::Node& value) {
                      module.scheme = text(value, "scheme");
                      if (module.scheme != "http" && module.scheme != "https")
                          fail(value, "scheme has to be http or https");
                  }},
                 {"netrc_file", [&](const YAML::Node& value) { module.netrcFile = readableFile(value, "netrc_file"); }},
                 {"ca_file", [&](const YAML::Node& value) { module.caFile = readableFile(value, "ca_file"); }},
                 {"insecure", [&](const YAML::Node& value) { module.insecure = truth(value, "insecure"); }},
                 time("connect_timeout", module.connectTimeout, Milliseconds(1)),
                 time("timeout", module.timeout, Milliseconds(1)),
                 time("max_age", module.maxAge, Milliseconds(0)),
                 time("failure_max_age", module.failureMaxAge, Milliseconds(0)),
                 {"targets", [&](const YAML::Node& value) { module.targets = patterns(value); }}});
        if (module.scheme == "http" && !module.caFile.empty())
            fail(node, fmt::format("module \"{}\": http has no certificates", name));
        return module;
    }

    Config configOf(const YAML::Node& node) const {
        Config config;
        readMap(node, "the configuration",
                {{"max_targets",
                  [&](const YAML::Node& value) { config.maxTargets = number(value, "max_targets", 1, 10000000); }},
                 {"max_bytes",
                  [&](const YAML::Node& value) { config.maxBytes = number(value, "max_bytes", 1, 1UL << 40U); }},
                 {"max_probes",
                  [&](const YAML::Node& value) {
                      config.maxProbes = static_cast<unsigned>(number(value, "max_probes", 1, 4096));
                  }},
                 {"modules", [&](const YAML::Node& value) {
                      eachOf(value, "modules", [&](const std::string& name, const auto&, const YAML::Node& module) {
                          config.modules[name] = std::make_shared<const Module>(moduleOf(module, name));
                      });
                  }}});
        if (config.modules.empty()) fail(node, "there are no modules");
        return config;
    }

    const std::string file_;
    const Warn warn_;
};

}  // namespace

bool Module::asksAs(const Module& other) const {
    const auto members = [](const Module& module) {
        return std::tie(module.scheme, module.netrcFile, module.caFile, module.insecure);
    };
    return members(*this) == members(other);
}

Config parseConfig(const std::string& text, const std::string& file, const Warn& warn) {
    return Reader(file, warn).read(text);
}

Config loadConfig(const std::string& file, const Warn& warn) {
    errno = 0;
    const std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    if (stream.is_open()) text << stream.rdbuf();
    if (!text && errno == 0) text.clear();  // it is empty
    if (!stream.is_open() || !text)
        throw ConfigError(fmt::format("{}: {}", file, std::generic_category().message(errno)));
    return parseConfig(text.str(), file, warn);
}

std::string targetOf(const std::string& text, const Module& module) {
    static const std::regex form(R"((\[[0-9A-Fa-f:.]+\]|[A-Za-z0-9_-][A-Za-z0-9._-]*)(:([0-9]{1,5}))?)");
    std::smatch parts;
    if (text.size() > kTargetLength || !std::regex_match(text, parts, form)) return "";
    const unsigned long port = parts[3].matched ? std::stoul(parts[3]) : (module.scheme == "https" ? 5989 : 5988);
    if (port == 0 || port > 65535) return "";
    std::string target = fmt::format("{}:{}", parts[1].str(), port);
    std::transform(target.begin(), target.end(), target.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    const bool allowed = module.targets.empty() ||
                         std::any_of(module.targets.begin(), module.targets.end(), [&](const std::string& pattern) {
                             return fnmatch(pattern.c_str(), target.c_str(), 0) == 0;
                         });
    return allowed ? target : "";
}

}  // namespace exporter

#ifndef PCIINFO_EXPORTER_CONFIG_H
#define PCIINFO_EXPORTER_CONFIG_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace exporter {

using Milliseconds = std::chrono::milliseconds;

/** How the targets of a kind are asked. */
struct Module {
    std::string scheme = "https";  // or "http"
    std::string netrcFile;         // credentials by host, as curl(1) reads them; empty: none
    std::string caFile;            // certificates that are trusted; empty: the system's
    bool insecure = false;         // certificates are not checked, and credentials go over http to any host
    Milliseconds connectTimeout{5000};
    Milliseconds timeout{120000};       // for the answer to one request, of four
    Milliseconds maxAge{3600000};       // an answer younger than that is served again
    Milliseconds failureMaxAge{60000};  // the same of a failure
    std::vector<std::string> targets;   // patterns of those that may be asked, as of a shell; empty: all

    /** Whether it is answered by the same as the other is: how long that may take and is kept may differ. */
    bool asksAs(const Module& other) const;
};

struct Config {
    std::size_t maxTargets = 10000;       // kept at a time
    std::size_t maxBytes = 512UL << 20U;  // of their answers
    unsigned maxProbes = 64;              // at a time
    std::map<std::string, std::shared_ptr<const Module>> modules;
};

/** What is wrong with a configuration: "FILE:LINE: what". */
class ConfigError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

/** Is told of what is wrong now, but need not be when the service runs. */
using Warn = std::function<void(const std::string& warning)>;

/**
 * Reads a configuration in YAML: pciinfo-exporter(8) has its keys. Everything but these is an error, and so is a key
 * that comes twice, or a file named in it that cannot be read; with `warn`, one of systemd's credentials that cannot be
 * read is a warning, as these are there for the running service alone. Throws ConfigError.
 */
Config parseConfig(const std::string& text, const std::string& file, const Warn& warn = {});
Config loadConfig(const std::string& file, const Warn& warn = {});

/** The name of a module that is taken where a scrape names none. */
constexpr const char* kDefaultModule = "default";

/**
 * "host:port" in lower case; the port of the module's scheme (5989 or 5988) where there is none. Empty: this is no
 * target, or none that the module may ask.
 */
std::string targetOf(const std::string& text, const Module& module);

}  // namespace exporter

#endif

// Passwords in netrc files. Tests: tests/client/netrc_test.cpp, tests/e2e/remote.py.
#include "client/netrc.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "cim/names.h"

namespace client {

namespace {

constexpr std::streamsize kLongestFile = 1 << 20;

/** The next word, or what stands in quotes, with backslashes before what would end it; false at the end. */
bool nextToken(std::istream& in, std::string& token) {
    token.clear();
    while ((in >> std::ws).peek() == '#') std::getline(in, token);
    token.clear();
    if (in.peek() != '"') return static_cast<bool>(in >> token);
    in.get();
    for (char letter = 0; in.get(letter) && letter != '"';) {
        if (letter == '\\' && in.get(letter))
            letter = letter == 'n' ? '\n' : letter == 'r' ? '\r' : letter == 't' ? '\t' : letter;
        token += letter;
    }
    return true;
}

struct Entry {
    bool isMeant = false;  // of this host, or of all
    std::optional<std::string> user;
    std::optional<std::string> password;

    bool has(const std::string& wanted) const { return isMeant && password && user.value_or(wanted) == wanted; }
};

}  // namespace

std::optional<std::string> passwordIn(std::istream& netrc, const std::string& host, const std::string& user) {
    Entry entry;
    std::string token;
    std::string value;
    while (nextToken(netrc, token)) {
        if (token == "machine" || token == "default") {
            if (entry.has(user)) break;
            entry = Entry();
            entry.isMeant = token == "default" || (nextToken(netrc, value) && cim::sameName(value, host));
        } else if (token == "macdef") {  // up to a blank line
            while (std::getline(netrc, value) && value.find_first_not_of(" \t\r") != std::string::npos) continue;
        } else if (token == "login" && nextToken(netrc, value)) {
            entry.user = value;
        } else if (token == "password" && nextToken(netrc, value)) {
            entry.password = value;
        }
    }
    return entry.has(user) ? entry.password : std::nullopt;
}

std::optional<std::string> passwordFor(const std::string& file, const std::string& host, const std::string& user) {
    const char* const home = std::getenv("HOME");  // NOLINT(concurrency-mt-unsafe): nothing sets it
    std::ifstream stream(file.empty() ? std::string(home == nullptr ? "" : home) + "/.netrc" : file);
    std::string text(kLongestFile, '\0');
    stream.read(text.data(), kLongestFile);
    text.resize(static_cast<std::size_t>(stream.gcount()));
    std::istringstream netrc(text);
    const bool isBracketed = host.size() > 2 && host.front() == '[';
    return passwordIn(netrc, isBracketed ? host.substr(1, host.size() - 2) : host, user);
}

}  // namespace client

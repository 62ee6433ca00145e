// Lists of servers. Tests: tests/client/serverlist_test.cpp.

#include "cimhost/serverlist.h"

#include <fmt/format.h>

#include <cerrno>
#include <fstream>
#include <iostream>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "cim/names.h"

namespace cimhost {

namespace {

constexpr std::size_t kMostServers = 1000000;
constexpr std::size_t kLongestLine = 1024;
constexpr const char* kBlanks = " \t\r";

/** A line without its comment and the blanks around it. */
std::string contentsOf(const std::string& line) {
    std::size_t end = line.size();
    for (std::size_t hash = line.find('#'); hash != std::string::npos; hash = line.find('#', hash + 1)) {
        if (hash > 0 && line[hash - 1] != ' ' && line[hash - 1] != '\t') continue;
        end = hash;
        break;
    }
    const std::size_t first = line.find_first_not_of(kBlanks);
    if (first == std::string::npos || first >= end) return "";
    return line.substr(first, line.find_last_not_of(kBlanks, end - 1) - first + 1);
}

}  // namespace

std::vector<client::Listed> readServers(std::istream& list, const std::string& name) {
    std::vector<client::Listed> servers;
    std::set<std::string> places;
    std::string line;
    for (std::size_t number = 1; std::getline(list, line); ++number) {
        try {
            if (line.size() > kLongestLine) throw std::invalid_argument("the line is too long");
            const std::string text = contentsOf(line);
            if (text.empty()) continue;
            client::Server server = client::parseServer(text);
            if (!places.insert(cim::foldedName(server.url()) + ' ' + server.user).second) continue;
            if (places.size() > kMostServers) throw std::invalid_argument("there are more than a million servers");
            servers.push_back({text, std::move(server)});
        } catch (const std::invalid_argument& error) {
            throw std::runtime_error(fmt::format("{}, line {}: {}", name, number, error.what()));
        }
    }
    return servers;
}

std::vector<client::Listed> serversOf(const std::string& file) {
    if (file == "-") return readServers(std::cin, "standard input");
    std::ifstream list(file);
    if (!list) throw std::runtime_error(fmt::format("{}: {}", file, std::generic_category().message(errno)));
    errno = 0;
    std::vector<client::Listed> servers = readServers(list, file);
    if (list.bad()) throw std::runtime_error(fmt::format("{}: {}", file, std::generic_category().message(errno)));
    return servers;
}

}  // namespace cimhost

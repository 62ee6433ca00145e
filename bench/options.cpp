// Arguments of the measuring programs.
#include "bench/options.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <stdexcept>

namespace bench {

namespace {

constexpr char kUsage[] =
    "options: --library FILE --table FILE [--operation NAME] [--class NAME] [--key NAME=VALUE] [--assoc-class NAME]\n"
    "         [--result-class NAME] [--log dropped|sent] [--times N] [--memory] [--against floor|lines|libpci]\n"
    "operations: enumerate (default), enumerate-names, get, associators, associator-names, references,\n"
    "         reference-names; scan, the product's without objects; floor, what it cannot do without; transfer, its "
    "bare exchanges";

Question::Kind kindOf(const std::string& name) {
    using Kind = Question::Kind;
    static const std::map<std::string, Kind> kKinds = {
        {"enumerate", Kind::enumerate},
        {"enumerate-names", Kind::enumerateNames},
        {"get", Kind::get},
        {"associators", Kind::associators},
        {"references", Kind::references},
        {"associator-names", Kind::associatorNames},
        {"floor", Kind::enumerate},
        {"reference-names", Kind::referenceNames},
        {"transfer", Kind::enumerate},
        {"scan", Kind::enumerate},
    };
    const auto found = kKinds.find(name);
    if (found == kKinds.end()) throw std::runtime_error(kUsage);
    return found->second;
}

}  // namespace

Options Options::read(int argc, char** argv) {
    Options options;
    Question& question = options.question;
    question.className = "QELTA_PCIDevice";
    std::string key;
    std::string log;
    std::string times = "1";
    const std::map<std::string, std::string*> places = {
        {"--library", &options.library},
        {"--table", &options.table},
        {"--class", &question.className},
        {"--operation", &options.operation},
        {"--against", &options.against},
        {"--assoc-class", &question.assocClass},
        {"--key", &key},
        {"--result-class", &question.resultClass},
        {"--log", &log},
        {"--times", &times},
    };
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--memory") {
            options.memory = true;
            continue;
        }
        const auto place = places.find(name);
        if (place == places.end() || ++i == argc) throw std::runtime_error(kUsage);
        *place->second = argv[i];
    }
    question.kind = kindOf(options.operation);
    if (const std::size_t equals = key.find('='); equals != std::string::npos) {
        question.keyName = key.substr(0, equals);
        question.keyValue = key.substr(equals + 1);
    }
    if (log == "sent") options.log = Log::sent;
    options.times = std::strtol(times.c_str(), nullptr, 10);
    return options;
}

int run(int argc, char** argv, int (*work)(const Options&)) {
    try {
        return work(Options::read(argc, argv));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}

}  // namespace bench

#ifndef PCIINFO_BENCH_OPTIONS_H
#define PCIINFO_BENCH_OPTIONS_H

#include <string>

#include "bench/platform.h"
#include "bench/thinbroker.h"

namespace bench {

/** What is measured, as a program's arguments say it. */
struct Options {
    std::string library;
    std::string table;  // file with the SMBIOS table
    std::string operation = "enumerate";
    std::string against;  // the peer within the process
    Question question;
    Log log = Log::dropped;
    long times = 1;
    bool memory = false;

    /** @throws std::runtime_error for what is no argument. */
    static Options read(int argc, char** argv);
};

/** Runs `work` on the options read; its result is main's, or 1 with a message for an exception. */
int run(int argc, char** argv, int (*work)(const Options&));

}  // namespace bench

#endif

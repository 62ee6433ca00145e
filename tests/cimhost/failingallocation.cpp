// Preloaded into the program: lets the allocation of its main thread fail whose number the environment tells, and, with
// a plus sign behind it, all after it. It begins to count where the program is about to ask the provider: it diverts
// standard output then. (What comes before it walks through directories, which libstdc++ cannot without memory.)
#include <dlfcn.h>

#include <cstdlib>

#include "tests/support/allocations.h"

using testsupport::Allocations;

extern "C" int memfd_create(const char* name, unsigned flags) noexcept {
    using Function = int (*)(const char*, unsigned);
    const auto next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "memfd_create"));
    const int result = next(name, flags);
    char* end = nullptr;
    const char* number = std::getenv("PCIINFO_FAILING_ALLOCATION");
    const std::size_t failing = number != nullptr ? std::strtoul(number, &end, 10) : 0;
    const bool lasting = end != nullptr && *end == '+';
    static const Allocations allocations(failing,
                                         lasting ? Allocations::Failing::allFromThere : Allocations::Failing::one);
    return result;
}

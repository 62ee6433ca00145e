// Want of memory, noted by the process's new-handler. Tests: tests/wbem/allocations_test.cpp, tests/cimhost.
#include "cim/shortage.h"

#include <new>

namespace cim {

namespace {

thread_local unsigned long count = 0;

[[noreturn]] void noteAndRefuse() {
    noteShortage();
    throw std::bad_alloc();
}

}  // namespace

void noteMemoryShortages() {
    std::set_new_handler(noteAndRefuse);
}

void noteShortage() {
    ++count;
}

unsigned long shortages() {
    return count;
}

}  // namespace cim

#ifndef PCIINFO_CIM_SHORTAGE_H
#define PCIINFO_CIM_SHORTAGE_H

#include <exception>

namespace cim {

/**
 * Want of memory or descriptors, noted by thread. A provider goes on without what it could not have and answers with
 * success, as its callers want it to, so an answer alone does not tell whether it is whole.
 */

/** From here on the process notes where operator new finds no memory. It still throws std::bad_alloc. */
void noteMemoryShortages();

/** Notes another shortage, on the calling thread. */
void noteShortage();

/** How often the calling thread was short of something so far. */
unsigned long shortages();

/** An answer is not whole for want of memory or descriptors. */
class Shortage : public std::exception {
 public:
    const char* what() const noexcept override { return "memory or descriptors ran out meanwhile"; }
};

/** Does a request on this thread. Throws Shortage where it was short of something meanwhile, whatever came of it. */
template <typename Request>
auto whole(Request request) {
    const unsigned long before = shortages();
    auto answer = request();
    if (shortages() != before) throw Shortage();
    return answer;
}

}  // namespace cim

#endif

#ifndef PCIINFO_TESTS_SUPPORT_ALLOCATIONS_H
#define PCIINFO_TESTS_SUPPORT_ALLOCATIONS_H

#include <cstddef>

namespace testsupport {

/**
 * The allocations of the program that this is linked into, those of all its libraries and of the C library among them,
 * from the object's beginning to its end: counted and, if one is to fail, made to fail as where there is no memory. One
 * object lives at a time.
 */
class Allocations {
 public:
    enum class Of { thisThread, otherThreads };
    enum class Failing { one, allFromThere };

    /** failing: the number, from 1, of the allocation that fails; 0: none does. */
    explicit Allocations(std::size_t failing = 0, Failing how = Failing::one, Of whose = Of::thisThread);
    ~Allocations();
    Allocations(const Allocations&) = delete;
    Allocations& operator=(const Allocations&) = delete;

    std::size_t count() const;
    std::size_t bytes() const;
    std::size_t failed() const;
};

}  // namespace testsupport

#endif

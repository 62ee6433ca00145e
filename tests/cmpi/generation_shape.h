// Checks that a generated header set has the shape of its generation (GENERATION: 100, 200 or 210) at the level LEVEL,
// so that compiling the product against it means something. Compiled, never run.

#ifndef PCIINFO_TESTS_CMPI_GENERATION_SHAPE_H
#define PCIINFO_TESTS_CMPI_GENERATION_SHAPE_H

#include <cmpi/cmpidt.h>
#include <cmpi/cmpift.h>

#include <cstddef>
#include <type_traits>

namespace {

constexpr std::size_t atLevel(std::size_t at100, std::size_t at200, std::size_t at210) {
    return LEVEL == 100 ? at100 : (LEVEL == 200 ? at200 : at210);
}

constexpr bool is21 = GENERATION == 210;

static_assert(sizeof(CMPIValue) == 16 && sizeof(CMPIData) == 24 && sizeof(CMPIStatus) == 16);
static_assert(sizeof(CMPIBroker) == atLevel(32, 40, 40));
static_assert(sizeof(CMPIBrokerEncFT) == atLevel(136, 168, 192));
static_assert(sizeof(CMPIBrokerExtFT) == atLevel(168, 168, 200));
static_assert(sizeof(CMPIContextFT) == 56);
static_assert(sizeof(CMPIResultFT) == atLevel(56, 64, 64));
static_assert(sizeof(CMPIStringFT) == atLevel(32, 32, 40));
static_assert(sizeof(CMPIArrayFT) == 56 && sizeof(CMPIEnumerationFT) == 48);
static_assert(sizeof(CMPIInstanceFT) == atLevel(80, 88, 88));
static_assert(sizeof(CMPIObjectPathFT) == 160);
static_assert(sizeof(CMPIInstanceMIFT) == atLevel(80, 80, 88));
static_assert(sizeof(CMPIAssociationMIFT) == atLevel(56, 56, 72));
static_assert(sizeof(CMPIIndicationMIFT) == (is21 ? 96 : 72));
static_assert(sizeof(CMPIBrokerFT) == (GENERATION == 100 ? 168 : (is21 ? 184 : 160)));
#if LEVEL >= 200
static_assert(sizeof(CMPIBrokerMemFT) == atLevel(0, 120, 128));
static_assert(offsetof(CMPIBroker, mft) == 32);
#endif
#if LEVEL >= 200 || GENERATION < 210
static_assert(sizeof(CMPIPropertyMIFT) == atLevel(40, 48, 48));
#endif

static_assert(std::is_same_v<decltype(CMPIInstance::hdl), const void*> == is21);
static_assert(std::is_same_v<decltype(CMPIInstance::ft), const CMPIInstanceFT*> == is21);
static_assert(std::is_same_v<decltype(CMPIBroker::bft), const CMPIBrokerFT*> == is21);
static_assert(std::is_invocable_v<decltype(CMPIObjectPathFT::addKey), const CMPIObjectPath*, const char*,
                                  const CMPIValue*, CMPIType> == is21);
static_assert(std::is_invocable_v<decltype(CMPIInstanceFT::setProperty), const CMPIInstance*, const char*,
                                  const CMPIValue*, CMPIType> == (GENERATION > 100));
static_assert(std::is_same_v<decltype(CMPIAssociationMIFT::miVersion), const int> == (GENERATION == 200));

// The first member of the union is what an initialiser in braces sets.
constexpr CMPIValue first = {1};
static_assert(is21 ? first.boolean == 1 : first.uint64 == 1);

#if GENERATION == 100
static_assert(sizeof(CMPIBrokerFT::brokerClassification) == 8);
static_assert(offsetof(CMPIBrokerFT, enumInstances) == 104 && offsetof(CMPIInstanceMIFT, enumInstances) == 32);
static_assert(std::is_same_v<decltype(CMPIStringFT::getCharPtr(nullptr, nullptr)), char*>);
#else
static_assert(offsetof(CMPIBrokerFT, enumerateInstances) == 96 && offsetof(CMPIInstanceMIFT, enumerateInstances) == 32);
#endif

}  // namespace

#endif

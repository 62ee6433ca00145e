#ifndef PCIINFO_TESTS_SAMPLES_SAMPLE_H
#define PCIINFO_TESTS_SAMPLES_SAMPLE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "broker/broker.h"

namespace samples {

/** The sample machines' names. */
std::vector<std::string> names();

/** The provider's answers about one host directory. The status of every request has to be CMPI_RC_OK. */
std::vector<broker::Instance> instances(const std::string& hostDirectory, const std::string& className);
std::vector<broker::ObjectPath> instanceNames(const std::string& hostDirectory, const std::string& className);

/** "TYPE VALUE" of a property, as the command line shows them; "unset" where the instance does not have it. */
std::string shown(const broker::Instance& instance, const std::string& property);
/** What shown() gives for an array of these elements; "unset" for none. */
std::string shownArray(const std::string& elementType, const std::vector<unsigned>& elements);

/** A test for every sample machine. */
class SampleTest : public ::testing::TestWithParam<std::string> {
 protected:
    std::string directory() const;
    std::string procBusPci() const { return directory() + "/proc/bus/pci"; }
    std::string smbiosTable() const { return directory() + "/bmc/smbios-table"; }
};

std::string caseName(const ::testing::TestParamInfo<std::string>& info);

}  // namespace samples

#endif

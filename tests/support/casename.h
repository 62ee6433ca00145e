#ifndef PCIINFO_TESTS_SUPPORT_CASENAME_H
#define PCIINFO_TESTS_SUPPORT_CASENAME_H

#include <gtest/gtest.h>

#include <string>

namespace testsupport {

/** Names the rows of a table test by their member `what`. */
struct CaseName {
    template <typename Row>
    std::string operator()(const testing::TestParamInfo<Row>& row) const {
        return row.param.what;
    }
};

}  // namespace testsupport

#endif

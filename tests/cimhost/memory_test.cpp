// The built program where memory runs out: its answer is whole, or it ends with an error.

#include "programtest.h"

namespace {

class Memory : public RackTest, public testing::WithParamInterface<Arguments> {
 protected:
    /** Lets every so many allocations of the program fail. `how` follows their numbers. */
    void failInTurn(std::size_t step, const std::string& how) {
        const std::string whole = answer(GetParam());
        unsigned errors = 0;
        for (std::size_t number = 1; number < kMost; number += step) {
            const Outcome run = ask(GetParam(), {{},
                                                 {"LD_PRELOAD=" CIMHOST_FAILING_ALLOCATION,
                                                  "PCIINFO_FAILING_ALLOCATION=" + std::to_string(number) + how}});
            // The destructors of nlohmann-json take memory, and end the program where there is none.
            EXPECT_TRUE(run.exitCode != -1 || GetParam().back() == "json") << "allocation " << number << how << run.err;
            if (run.exitCode == 0) {
                EXPECT_EQ(run.out, whole) << number << how;
            }
            errors += run.exitCode == 0 ? 0 : 1;
            if (HasFailure()) return;
        }
        EXPECT_GT(errors, 10U);
    }

    static constexpr std::size_t kMost = 9000;  // more than a command makes
};

TEST_P(Memory, ThatRunsOutMakesTheAnswerAnError) {
    if (std::string(CIMHOST_SANITIZED) != "") GTEST_SKIP() << "the sanitizers' runtimes have allocations of their own";
    failInTurn(149, "");
    failInTurn(449, "+");
}

INSTANTIATE_TEST_SUITE_P(Of, Memory,
                         testing::Values(Arguments{"slots"}, Arguments{"devices", "--format", "json"},
                                         Arguments{"bridges", "--format", "mof"},
                                         Arguments{"associators", "5", "--format", "csv"}, Arguments{"tree"}));

}  // namespace

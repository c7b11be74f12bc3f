/* clean: each test begins without a failure that another one has left; some operations do nothing while there is one. */
#include "vek.h"

#include <gtest/gtest.h>

namespace {

struct CleanStatus : testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override { vekSetErrStatus(VEK_StatusOk); }
};
[[maybe_unused]] const bool isClean = (testing::UnitTest::GetInstance()->listeners().Append(new CleanStatus), true);

} // namespace

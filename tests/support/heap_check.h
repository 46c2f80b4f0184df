// A fixture base that fails a test which leaves a heap block of the library behind.
#pragma once
#include <gtest/gtest.h>

#include "host/hostkit.h"

namespace fk::testing {

class HeapChecked : public ::testing::Test {
protected:
    void SetUp() override { before_ = host::liveBlocks(); }
    void TearDown() override {
        EXPECT_EQ(host::liveBlocks(), before_) << "heap blocks leaked or freed twice";
    }

private:
    long before_ = 0;
};

} // namespace fk::testing

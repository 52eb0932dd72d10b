// What a message box says, read where its text goes without a display.
#pragma once

#include <Traces.h>

#include <gtest/gtest.h>

namespace zmu_test {

/// Caption and text of the box that `showBox` would show, if it shows one.
template <class Show>
QString saidBy(const Show& showBox)
{
    Traces traces;
    EXPECT_EQ(showBox(), 0);
    return traces.take();
}

} // namespace zmu_test

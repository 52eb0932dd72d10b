// Whether work grows no faster than what it is done on, by the processor's time, which other
// processes take nothing of.
#pragma once

#include <gtest/gtest.h>

#include <ctime>

/// Does `work` for `size` and for four times as much.
template <class Work>
void expectLinear(Work work, int size)
{
    const auto secondsFor = [&work](int qty) {
        const std::clock_t begin = std::clock();
        work(qty);
        return double(std::clock() - begin) / CLOCKS_PER_SEC;
    };
    const double once = secondsFor(size);
    const double fourTimes = secondsFor(4 * size);
    EXPECT_LE(fourTimes, 8 * once + 0.3) << "once: " << once;
}

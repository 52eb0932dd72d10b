// The check of a message's inserts, by the table that the formatter is tested with, too.
#include "InsertCases.h"

#include <zmu/monitor/internal/Inserts.h>

#include <gtest/gtest.h>

#include <string>

using namespace zmu_test;
using zmu::SlotKind;

namespace {

zmu::InsertFault faultOf(const wchar_t* format, const std::string& slots)
{
    return zmu::findInsertFault(format, static_cast<int>(slots.size()), [&](int slot) {
        const char held = slots[static_cast<std::size_t>(slot) - 1];
        return held == 'w'   ? SlotKind::WideText
               : held == 'a' ? SlotKind::NarrowText
               : held == '?' ? SlotKind::AnyText
                             : SlotKind::Number;
    });
}

} // namespace

TEST(Inserts, FitTheSlotsThatTheFormatterTakes)
{
    for (const InsertCase& row : insertCases) {
        SCOPED_TRACE(testing::PrintToString(row.format));
        const std::string takes = row.takes;
        EXPECT_FALSE(faultOf(row.format, takes).what);
        if (!takes.empty()) {
            EXPECT_TRUE(faultOf(row.format, takes.substr(0, takes.size() - 1)).what);
        }
        for (std::size_t i = 0; i < takes.size(); ++i) {
            const bool isText = takes[i] == 'w' || takes[i] == 'a';
            std::string others = takes;
            for (const char kind : {'n', 'w', 'a'}) {
                others[i] = kind;
                EXPECT_EQ(faultOf(row.format, others).what != nullptr, isText && kind != takes[i])
                    << others;
            }
            others[i] = '?'; // for which the caller vouches
            EXPECT_FALSE(faultOf(row.format, others).what);
        }
    }
    for (const wchar_t* const format : unfinishedInserts)
        EXPECT_TRUE(faultOf(format, "nnn").what) << testing::PrintToString(format);
}

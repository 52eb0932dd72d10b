// A monitor that is in the midst of a milestone, and an event log to tell it to.
#pragma once

#include "Journal.h"
#include "Support.h"

#include <zmu/notify/zgEL_Reporter.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>

namespace zmu_test {

class EventLog : public testing::Test {
  protected:
    void SetUp() override
    {
        const QString obstacle = journal.start();
        if (!obstacle.isEmpty())
            GTEST_SKIP() << qPrintable(obstacle);
    }
    void TearDown() override { zgEL_Reporter::destroy(); }

    /// Writes the event of a situation whose fillers are these texts.
    bool tell(int situation, std::initializer_list<const wchar_t*> texts) const
    {
        monitor->recordSituationID(situation);
        u64* filler = monitor->getDescriptionFillers();
        for (const wchar_t* const text : texts)
            *filler++ = reinterpret_cast<std::uintptr_t>(text);
        const bool isTold = zgEL_Reporter::write(monitor.get());
        monitor->forgetSituation();
        return isTold;
    }

    Journal journal;
    Folder folder;
    Monitor monitor{folder.path("log.html")};
};

} // namespace zmu_test

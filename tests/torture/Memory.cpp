// Memory that runs out.
#include "Torture.h"

#include <linux/FailingMemory.h>

#include <climits>

using namespace zmu_test;
using namespace zmu_torture;

void zmu_torture::failAllocations(Run& run)
{
    constexpr long quickSamples = 40;
    constexpr int endsInQtMax = 50; // its objects of one thread and one stream, made once
    for (const Place::Form form : {Place::Form::None, Place::Form::Full}) {
        const Place place(form);
        run.take(LifeWithoutMemory(place, LONG_MAX, LONG_MAX).end, "a life with memory");
        const long count = LifeWithoutMemory::allocations();
        const long step = run.isQuick ? 1 + count / quickSamples : 1;
        int lives = 0;
        int endsInQt = 0;
        for (long n = 1; n <= count; n += step) {
            for (const long last : {n, LONG_MAX}) {
                const LifeWithoutMemory life(place, n, last);
                ++lives;
                endsInQt += life.endedInQt;
                run.counts.done += place.ledger.sum();
                if (!life.failure.empty())
                    run.take(life.end, "allocation " + std::to_string(n) +
                                           (last == n ? ": " : " and on: ") + life.failure);
            }
        }
        if (endsInQt > endsInQtMax)
            run.flaw(std::to_string(endsInQt) + " lives ended within Qt");
        run.did << (form == Place::Form::None ? "" : "; with a form and a report in the head ")
                << lives << " lives of " << count << " allocations, " << endsInQt
                << " ended where Qt makes its first objects";
    }
}

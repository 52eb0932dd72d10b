// Memory that runs out: allocations of this process that fail.
#pragma once

#include <linux/Child.h>

#include <climits>

namespace zmu_torture {

/// The allocations that fail, by their numbers; 1 is the first. None unless it is said.
struct Shortage {
    long first = LONG_MAX;
    long last = LONG_MAX;
};

/// What the children of this process are to meet with.
void prepareShortage(const Shortage& shortage);

/// Lets it in, in a child: allocations count from now on, behind those that have counted before. Qt
/// does not survive it where it makes the first objects of a thread or of a stream: with `sparesQt`
/// the process is ended there, as hasEndedInQt() tells.
void letShortageIn(bool sparesQt);
void keepShortageOut();
bool hasEndedInQt(const zmu_test::ChildEnd& end);
/// More of a scenario's lives are too many: these are objects of one thread and one stream.
inline constexpr int endsInQtMax = 50;

/// How many allocations of the last child have counted.
long allocationsQty();

} // namespace zmu_torture

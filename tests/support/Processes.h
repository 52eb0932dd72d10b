// Threads and processes of a test.
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

namespace zmu_test {

/// Waits until `condition` holds, for a minute at most. Whether it does.
template <class Condition>
bool becomesTrue(const Condition& condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// Runs `body` with the numbers 0 to `qty` - 1, each in a thread of its own. A check that fails
/// there says which thread it was.
template <class Body>
void inThreads(int qty, const Body& body)
{
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < qty; ++thread)
        threads.emplace_back([&body, thread] {
            SCOPED_TRACE(testing::Message() << "thread " << thread);
            body(thread);
        });
}

/// Runs `body` in `qty` threads, `rounds` times in each, with the numbers of both, which a check
/// that fails says. One that ends its round by failing ends no other.
template <class Body>
void inThreads(int qty, int rounds, const Body& body)
{
    inThreads(qty, [&](int thread) {
        for (int round = 0; round < rounds; ++round) {
            SCOPED_TRACE(testing::Message() << "round " << round);
            body(thread, round);
        }
    });
}

/// How a process has ended.
struct ProcessEnd {
    bool isNormal = false; ///< Neither killed, nor late, nor impossible to start.
    int status = -1;       ///< What it has returned, if that is so.
    QByteArray output;
    QByteArray errors; ///< What it wrote to standard error; why it did not start.
};

/// Runs a program to its end, for a minute at most. `variables` are set in its environment in
/// addition.
ProcessEnd runProgram(const QString& program, const QStringList& arguments,
                      const QMap<QString, QString>& variables = {});

/// Succeeds for a process that has returned 0; a failure tells what it wrote.
testing::AssertionResult hasSucceeded(const ProcessEnd& end);

} // namespace zmu_test

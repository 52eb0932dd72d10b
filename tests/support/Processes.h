// Threads and processes of a test.
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

namespace zmu_test {

/// Runs `body` with the numbers 0 to `qty` - 1, each in a thread of its own. A check that fails in
/// a thread tells its place but not which thread it was: `<< thread` does.
template <class Body>
void inThreads(int qty, Body body)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < qty; ++thread)
        threads.emplace_back(body, thread);
    for (std::thread& thread : threads)
        thread.join();
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

#if !defined(_WIN32)
/// Runs `body` in a fork of this process, whose status is what it returns, and waits for that, for
/// a minute at most. Checks within it go nowhere.
ProcessEnd runInChild(const std::function<int()>& body);

/// Gives this process and its children mounts that nobody else sees. Why that cannot be, or empty.
QString enterOwnMounts();
#endif

} // namespace zmu_test

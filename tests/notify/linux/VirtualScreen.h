// A screen of the test's own, and keys that are pressed there.
#pragma once

#include "Screen.h"

#include <QProcess>

#include <gtest/gtest.h>

#include <string>

#include <sys/prctl.h>

namespace zmu_test {

inline constexpr char noScreen[] = "there is no Xvfb, or no xdotool to press its keys";

/// Starts a program that goes with the test, however that ends.
inline void startWithTest(QProcess& process, const QString& program, const QStringList& arguments)
{
    process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process.start(program, arguments);
}

inline void endProcess(QProcess& process)
{
    process.kill();
    process.waitForFinished();
}

/// An X server of 800 by 600 pixels, without a window manager, if there is one to be had.
class VirtualScreen {
  public:
    VirtualScreen()
    {
        // It writes its number once it is ready, and stays while no program is connected.
        startWithTest(
            m_server, "Xvfb",
            {"-displayfd", "1", "-screen", "0", "800x600x24", "-nolisten", "tcp", "-noreset"});
        if (!m_server.waitForReadyRead(60000))
            return;
        setenv("DISPLAY", ":" + m_server.readLine().trimmed(), 1);
        setenv("QT_QPA_PLATFORM", "xcb", 1);
        setenv("ZMU_WINDOW_SECONDS", "60", 1);
        m_isThere = system("command -v xdotool >/dev/null") == 0;
    }
    ~VirtualScreen() { endProcess(m_server); }
    bool isThere() const { return m_isThere; }

  private:
    QProcess m_server;
    bool m_isThere = false;
};

/// Waits for the window of that name and presses keys there, one after the other.
inline void pressIn(const std::string& window, const std::string& keys)
{
    // A window manager may give the focus to another once more, so it is asked for until it is
    // there.
    const std::string search = "xdotool search --onlyvisible --name '" + window + "'";
    const std::string focus = "{ for window in $(" + search +
                              "); do xdotool windowfocus $window && sleep 0.05 && "
                              "test $(xdotool getwindowfocus) = $window && exit 0; done; exit 1; } "
                              ">/dev/null 2>&1";
    if (!becomesTrue([&] { return system(focus.c_str()) == 0; })) {
        ADD_FAILURE() << "no keys for " << window << "; what is there, and what has them:";
        EXPECT_EQ(system((search + "; xdotool getwindowfocus getwindowname").c_str()), 0);
    }
    const std::string press =
        "for key in " + keys + "; do sleep 0.1; xdotool key $key; done >/dev/null 2>&1";
    EXPECT_EQ(system(press.c_str()), 0);
}

} // namespace zmu_test

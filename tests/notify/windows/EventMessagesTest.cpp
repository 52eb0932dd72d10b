// The message table that the library carries for the system's event log, and events in that log.
#include "Milestones.h"

#include <zmu/platform/Win32.h>

#include <gtest/gtest.h>

#include <string>

using namespace zmu_test;

namespace {

constexpr DWORD english = 1033;

/// A message of zmu.dll in English, filled with these; empty when there is none.
std::wstring message(DWORD event)
{
    DWORD_PTR inserts[] = {reinterpret_cast<DWORD_PTR>(L"one"), reinterpret_cast<DWORD_PTR>(L"two"),
                           reinterpret_cast<DWORD_PTR>(L"three"),
                           reinterpret_cast<DWORD_PTR>(L"four")};
    wchar_t text[300] = {};
    FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY,
                   GetModuleHandleW(L"zmu.dll"), event, english, text, 300,
                   reinterpret_cast<va_list*>(inserts));
    return text;
}

} // namespace

TEST(EventMessages, AreInTheLibrary)
{
    EXPECT_EQ(message(0x40009C40), L"one\r\n");
    EXPECT_EQ(message(0x80009C41), L"one\r\n");
    EXPECT_EQ(message(0xC0009C42), L"one\r\n");
    EXPECT_EQ(message(0x40009C43), L"The one began successfully.\r\n");
    EXPECT_EQ(message(0x40009C47), L"User one successfully logged on to session \"two\", and the "
                                   L"session was renamed to \"three\".\r\n");
    EXPECT_EQ(message(0x40009C52),
              L"Process #one (two) failed to stop in session \"three\" successfully.\r\n");
    int count = 0;
    for (DWORD number = 0x9C30; number < 0x9C60; ++number) {
        for (const DWORD severity : {0x00000000U, 0x40000000U, 0x80000000U, 0xC0000000U})
            count += message(severity | number).empty() ? 0 : 1;
    }
    EXPECT_EQ(count, 21);
}

TEST_F(EventLog, GetsTheStringsOfAnEvent)
{
    ASSERT_NE(zgEL_Reporter::create(L"Application", nullptr, 1), nullptr) << GetLastError();
    const HANDLE log = OpenEventLogW(nullptr, L"Application");
    ASSERT_NE(log, nullptr) << GetLastError();
    EXPECT_TRUE(tell(3322, {L"not this", L"Session A", nullptr}));

    alignas(EVENTLOGRECORD) BYTE buffer[0x10000];
    DWORD size = 0;
    DWORD needed = 0;
    const BOOL isRead = ReadEventLogW(log, EVENTLOG_SEQUENTIAL_READ | EVENTLOG_BACKWARDS_READ, 0,
                                      buffer, sizeof buffer, &size, &needed);
    CloseEventLog(log);
    if (!isRead && runsUnderWine())
        GTEST_SKIP() << "the event log of Wine keeps no records";
    ASSERT_TRUE(isRead) << GetLastError();
    const auto& record = *reinterpret_cast<const EVENTLOGRECORD*>(buffer);
    EXPECT_EQ(record.EventID, 0x40009C53U);
    EXPECT_EQ(record.NumStrings, 2);
    EXPECT_STREQ(reinterpret_cast<const wchar_t*>(buffer + record.StringOffset), L"Session A");
}

// What an image's file tells, hostile files among them.
#include "EnvApp.h"

#include <zmu/platform/Win32.h>

#include <cstring>

using namespace zmu_test;

namespace {

TEST_F(ApplicationEnvironment, WhatAnImageCarries)
{
    QByteArray image(256, '\0');
    const auto put = [](QByteArray& bytes, qsizetype at, quint32 number) {
        std::memcpy(bytes.data() + at, &number, sizeof number);
    };
    put(image, 60, 100);
    put(image, 100, IMAGE_NT_SIGNATURE);
    put(image, 108, 0x4B5C6D7E);
    const auto shown = [&](const QByteArray& bytes) {
        write("one.so", bytes);
        return module(16, false).section("|one.so Date", 0, 0);
    };
    EXPECT_EQ(shown(image), "one.so Checksum=0x00000000|one.so Timestamp=0x4B5C6D7E");
    EXPECT_EQ(shown(image.left(191)), "one.so Timestamp=0x4B5C6D7E");
    for (const quint32 place : {0U, 253U, 0xFFFFFFFFU, 0x80000000U}) {
        QByteArray bytes = image;
        put(bytes, 60, place);
        EXPECT_FALSE(shown(bytes).contains("0x"));
    }
}

} // namespace

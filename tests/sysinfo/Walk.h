// A walk over a source.
#pragma once

#include <zmu/sysinfo/ZarnSysInfoEnvOp.h>

#include <gtest/gtest.h>

#include <QString>

namespace zmu_test {

/// "caption=datum" and a line break for each pair.
template <class Source>
QString walk(Source&& source = Source())
{
    QString rows;
    wchar_t caption[512];
    wchar_t datum[4096];
    for (bool more = source.getFirstDataPair(caption, datum, 512, 4096); more;
         more = source.getNextDataPair(caption, datum, 512, 4096))
        rows += QString::fromWCharArray(caption) + '=' + QString::fromWCharArray(datum) + '\n';
    return rows;
}

} // namespace zmu_test

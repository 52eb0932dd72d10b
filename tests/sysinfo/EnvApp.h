// An application environment that is made up.
#pragma once

#include <System.h>

#include <zmu/platform/ModuleList.h>
#include <zmu/sysinfo/ZarnSysInfoEnvApp.h>

#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <string>
#include <vector>

namespace zmu_test {

// What the stand-ins for the platform say.
inline std::vector<zmu::modules::Listed> listed;
inline std::wstring systemFolder, found, kernel;

inline constexpr int onward = -100;

inline QString pairAt(ZarnSysInfoEnvApp& source, int position)
{
    wchar_t caption[512] = L"";
    wchar_t datum[512] = L"";
    const bool succeeded = position == onward
                               ? source.getNextDataPair(caption, datum, 512, 512)
                               : source.getDataPair(position, caption, datum, 512, 512);
    return succeeded ? QString::fromWCharArray(caption) + '=' + QString::fromWCharArray(datum)
                     : "-";
}

/// All pairs of a module, or those that are not "Unknown".
inline QString module(int number, bool isWhole = true)
{
    ZarnSysInfoEnvApp source;
    QStringList pairs;
    for (int item = 1; item <= 7; ++item) {
        const QString pair = pairAt(source, number + item);
        if (isWhole || !pair.endsWith("=Unknown"))
            pairs += pair;
    }
    return pairs.join('|');
}

class ApplicationEnvironment : public testing::Test {
  protected:
    void SetUp() override
    {
        systemFolder = m_folder.path().toStdWString();
        found.clear();
        kernel.clear();
        listed = {{L"one.so", zmu::modules::Home::System},
                  {nullptr, zmu::modules::Home::System},
                  {L"sub/three.ko", zmu::modules::Home::Drivers}};
    }
    void write(const char* name, const QByteArray& bytes)
    {
        QFile file(m_folder.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() &&
                    file.flush());
        file.setFileTime(QDateTime({2024, 2, 29}, {23, 30}, Qt::UTC), QFile::FileModificationTime);
    }
    QString folder() const { return m_folder.path() + QDir::separator(); }

  private:
    QTemporaryDir m_folder;
};

} // namespace zmu_test

// What the tests of the owner share: an owner with its stages open, a log directory, a brander with
// texts of its own.
#pragma once

#include "Support.h"

#include <zmu/owner/ZRpbr.h>
#include <zmu/owner/ZarnDataZGW.h>
#include <zmu/owner/ZgwCodes.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

namespace zmu_test {

/// An owner that runs standalone, unless told otherwise, with what a subclass can reach.
class Owner : public ZarnDataZGW {
  public:
    explicit Owner(i64 id = ZGW_OWNER_CM, bool standalone = true, Zarn_LOG type = Zarn_LOG_HTML)
        : ZarnDataZGW(id, standalone, nullptr, nullptr, type)
    {}

    std::wstring logPath()
    {
        wchar_t path[1024];
        return getLogFileFQPath(path, 1024);
    }
    std::wstring formPath()
    {
        UTL_String path;
        return learnLogFormFQPath(path) ? path.wideText() : L"";
    }
    ZarnData* data() const { return m_dataSet; }
    ZRpbr* brander() const { return m_productBrander; }
    bool hasMadeBrander() const { return m_productBranderIsOurs; }
    HINSTANCE external() const { return m_resourceModuleExternal; }
    static HINSTANCE internal() { return m_resourceModuleInternal; }

    using ZarnDataZGW::code1;
    using ZarnDataZGW::initialize;
    using ZarnDataZGW::obtainAssertivenessLevel;
    using ZarnDataZGW::obtainLogTagValue;
    using ZarnDataZGW::setMemberVarsToDefaults;
};

/// Code 1 of an owner that cannot be made, 0 if it can.
inline int codeOfConstruction(i64 id = ZGW_OWNER_CM, bool standalone = true,
                              Zarn_LOG type = Zarn_LOG_HTML)
{
    try {
        const Owner owner(id, standalone, type);
        return 0;
    } catch (int code) {
        EXPECT_EQ(code, ZarnDataZGW::getDX_Code1());
        return code;
    }
}

/// Copies the module `file` of the build into `folder` as the brander's module and loads it there,
/// with `texts` in its file; from then on it is the brander of the process.
inline bool useBrander(const Folder& folder, const QByteArray& texts,
                       const char* file = BRANDER_FILE)
{
    const std::wstring copy = folder.path(QFileInfo(QString(BRANDER_FILE)).fileName().toUtf8());
    if (!texts.isNull())
        folder.write("zbr4u.ini", texts);
    return QFile::copy(QString(file), QString::fromStdWString(copy)) && LoadLibraryW(copy.c_str());
}

} // namespace zmu_test

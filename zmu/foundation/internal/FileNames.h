// Names of files for Qt.
#pragma once

#include <QFile>
#include <QString>

namespace zmu {

/// `name` as the name of a file, whatever it begins with: to Qt a colon means a resource.
inline QString toFileName(const QString& name)
{
    return name.startsWith(u':') ? QStringLiteral("./") + name : name;
}
inline QString toFileName(const wchar_t* name)
{
    return toFileName(QString::fromWCharArray(name));
}

/// Removes a file that has no content.
inline void removeIfEmpty(const wchar_t* name) noexcept
{
    try {
        QFile file(toFileName(name));
        if (file.exists() && file.size() == 0)
            file.remove();
    } catch (...) { // no memory: the file stays
    }
}

} // namespace zmu

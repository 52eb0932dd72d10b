// Names of files for Qt.
#pragma once

#include <QDir>
#include <QString>

namespace zmu {

/// `name` as the name of a file, whatever it begins with: to Qt a colon means a resource.
inline QString toFileName(const QString& name)
{
    return name.startsWith(u':') ? QDir::currentPath() + u'/' + name : name;
}
inline QString toFileName(const wchar_t* name)
{
    return toFileName(QString::fromWCharArray(name));
}

} // namespace zmu

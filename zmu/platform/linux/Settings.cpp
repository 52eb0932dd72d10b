// The machine's settings: one section of an INI file stands for a key.
#include <zmu/platform/Win32.h>

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <cstring>
#include <exception>
#include <memory>
#include <string>

/// An open key.
struct HKEY__ {
    HKEY__(const QString& organisation, const QString& product, const QString& sectionName)
        : settings(QSettings::IniFormat, QSettings::SystemScope, organisation, product),
          section(sectionName)
    {
        settings.setFallbacksEnabled(false);
        // A file that takes the old one's place loses nothing when there is no room for it. Only
        // who may write the file, and not make another one beside it, writes into it.
        const QFileInfo folder(QFileInfo(settings.fileName()).path());
        settings.setAtomicSyncRequired(!folder.exists() || folder.isWritable());
    }

    QString nameOf(const wchar_t* value) const
    {
        return section + QLatin1Char('/') + QString::fromWCharArray(value);
    }

    /// Whether the file itself holds a line "name=value", which a full disk may have prevented.
    bool isWritten(const wchar_t* name, DWORD value) const
    {
        QFile file(settings.fileName());
        const QByteArray line =
            QString::fromWCharArray(name).toUtf8() + '=' + QByteArray::number(value);
        return file.open(QIODevice::ReadOnly) && file.readAll().split('\n').contains(line);
    }

    QSettings settings;
    QString section;
};

namespace {

/// Runs a body that allocates; short memory becomes the failure that a caller knows.
template <class Body>
long withoutThrowing(Body body)
{
    try {
        return static_cast<long>(body());
    } catch (const std::exception&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

/// Gives a value to the caller, as far as it has room.
DWORD deliver(DWORD valueType, const void* value, std::size_t valueSize, DWORD* type, u8* data,
              DWORD* size)
{
    const DWORD room = *size;
    *size = static_cast<DWORD>(valueSize);
    if (type)
        *type = valueType;
    if (!data)
        return ERROR_SUCCESS;
    if (room < valueSize)
        return ERROR_MORE_DATA;
    std::memcpy(data, value, valueSize);
    return ERROR_SUCCESS;
}

} // namespace

long RegOpenKeyExW(HKEY root, const wchar_t* key, DWORD, DWORD, HKEY* opened)
{
    return withoutThrowing([&]() -> DWORD {
        *opened = nullptr;
        const QStringList parts = QString::fromWCharArray(key).split(QLatin1Char('\\'));
        if (root != HKEY_LOCAL_MACHINE || parts.size() != 4 ||
            parts.first() != QLatin1String("SOFTWARE"))
            return ERROR_FILE_NOT_FOUND;
        auto handle = std::make_unique<HKEY__>(parts[1], parts[2], parts[3]);
        if (!handle->settings.isWritable() || handle->settings.status() == QSettings::AccessError)
            return ERROR_ACCESS_DENIED;
        handle->settings.allKeys(); // reads what is only looked through until a value is asked for
        if (handle->settings.status() != QSettings::NoError)
            return ERROR_FILE_CORRUPT;
        *opened = handle.release();
        return ERROR_SUCCESS;
    });
}

long RegQueryValueExW(HKEY key, const wchar_t* name, DWORD*, DWORD* type, u8* data, DWORD* size)
{
    return withoutThrowing([&]() -> DWORD {
        const QString where = key->nameOf(name);
        if (!key->settings.contains(where))
            return ERROR_FILE_NOT_FOUND;
        // A text with commas comes as a list.
        const QVariant value = key->settings.value(where);
        const QString text = value.typeId() == QMetaType::QStringList
                                 ? value.toStringList().join(QLatin1String(", "))
                                 : value.toString();
        bool isNumber = false;
        const DWORD number = text.toUInt(&isNumber);
        if (isNumber)
            return deliver(REG_DWORD, &number, sizeof number, type, data, size);
        const std::wstring wide = text.toStdWString();
        return deliver(REG_SZ, wide.c_str(), (wide.size() + 1) * sizeof(wchar_t), type, data, size);
    });
}

long RegSetValueExW(HKEY key, const wchar_t* name, DWORD, DWORD type, const u8* data, DWORD size)
{
    return withoutThrowing([&]() -> DWORD {
        DWORD number = 0;
        if (type != REG_DWORD || size != sizeof number)
            return ERROR_INVALID_PARAMETER;
        std::memcpy(&number, data, sizeof number);
        key->settings.setValue(key->nameOf(name), QString::number(number));
        key->settings.sync();
        return key->settings.status() == QSettings::NoError && key->isWritten(name, number)
                   ? ERROR_SUCCESS
                   : ERROR_WRITE_FAULT;
    });
}

long RegCloseKey(HKEY key)
{
    if (!key)
        return ERROR_INVALID_HANDLE;
    delete key;
    return ERROR_SUCCESS;
}

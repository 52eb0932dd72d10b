#include <zmu/log/internal/LogText.h>

#include <zmu/foundation/internal/Utf16.h>
#include <zmu/log/internal/LogDevice.h>
#include <zmu/monitor/ZarnScratchpad.h>
#include <zmu/platform/Files.h>

#include <QFileDevice>

#include <algorithm>
#include <climits>
#include <memory>

using namespace zmu;

namespace {

/// Writes to a device that a subclass opened, in whatever way.
bool writeElsewhere(QIODevice& device, const QByteArray& bytes)
{
    auto* file = qobject_cast<QFileDevice*>(&device);
    const bool isBuffered = file && !(file->openMode() & QIODevice::Unbuffered);
    if (device.write(bytes) == bytes.size() && (!isBuffered || file->flush()))
        return true;
    if (file)
        file->unsetError(); // or the next write would not even be tried
    return false;
}

} // namespace

u64 zmu::logSizeLimit()
{
    return std::min<u64>(fileSizeLimit(), INT_MAX);
}

u64 zmu::writeText(QTextStream& stream, LogDevice* log, const wchar_t* text, std::size_t length,
                   u64 limit)
{
    constexpr std::size_t unitsQty = ZarnScratchpad::Buffer::capacity * utf16UnitsMax;
    char16_t entryUnits[unitsQty];
    std::unique_ptr<char16_t[]> headUnits;
    char16_t* units = entryUnits;
    if (length * utf16UnitsMax > unitsQty) {
        headUnits = std::make_unique<char16_t[]>(length * utf16UnitsMax);
        units = headUnits.get();
    }
    return writeUnits(stream, log, units, toUtf16(text, length, units), limit);
}

u64 zmu::writeUnits(QTextStream& stream, LogDevice* log, const char16_t* units, std::size_t count,
                    u64 limit)
{
    const auto size = static_cast<qsizetype>(count) * qsizetype{sizeof *units};
    const auto* const data = reinterpret_cast<const char*>(units);
    // The device and not the stream, which would copy and encode the text once more.
    const bool isUtf16 = stream.encoding() == QStringConverter::Utf16;
    if (log && isUtf16) {
        if (static_cast<u64>(log->pos() + size) > limit || !log->append(data, size))
            throw WriteFailed{};
        return static_cast<u64>(size);
    }

    QByteArray bytes = QByteArray::fromRawData(data, size);
    // A log without a head has not been given its encoding.
    if (!isUtf16)
        bytes =
            QString(reinterpret_cast<const QChar*>(units), static_cast<qsizetype>(count)).toUtf8();
    QIODevice& device = *stream.device();
    if (static_cast<u64>(device.pos() + bytes.size()) > limit ||
        !(log ? log->append(bytes.constData(), bytes.size()) : writeElsewhere(device, bytes)))
        throw WriteFailed{};
    return static_cast<u64>(bytes.size());
}

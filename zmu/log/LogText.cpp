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

    const std::size_t unitsCount = toUtf16(text, length, units);
    QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char*>(units),
                                static_cast<qsizetype>(unitsCount) * qsizetype{sizeof *units});
    // A log without a head has not been given its encoding.
    if (stream.encoding() != QStringConverter::Utf16)
        bytes = QString(reinterpret_cast<const QChar*>(units), static_cast<qsizetype>(unitsCount))
                    .toUtf8();

    // The device and not the stream, which would copy and encode the text once more.
    QIODevice& device = *stream.device();
    if (static_cast<u64>(device.pos() + bytes.size()) > limit ||
        !(log ? log->write(bytes) == bytes.size() : writeElsewhere(device, bytes)))
        throw WriteFailed{};
    return static_cast<u64>(bytes.size());
}

#include <spool/SealedText.h>

#include <QCryptographicHash>

#include <algorithm>

namespace zmu_spool {

namespace {

constexpr std::string_view sumName = "sum ";

std::string sumOf(std::string_view text)
{
    return QCryptographicHash::hash(QByteArrayView(text.data(), qsizetype(text.size())),
                                    QCryptographicHash::Sha256)
        .toHex()
        .toStdString();
}

} // namespace

std::string sealed(std::string text)
{
    const std::string sum = sumOf(text);
    return text.append(sumName).append(sum).append("\n");
}

std::string unseal(std::string_view& text, std::string_view title)
{
    if (!text.starts_with(title)) {
        const std::string_view kind = title.substr(0, title.rfind(' ') + 1);
        const std::size_t lineQty = text.find('\n');
        const bool isOfOtherVersion =
            lineQty != text.npos && lineQty > kind.size() && text.starts_with(kind) &&
            std::all_of(text.begin() + static_cast<std::ptrdiff_t>(kind.size()),
                        text.begin() + static_cast<std::ptrdiff_t>(lineQty),
                        [](char c) { return c >= '0' && c <= '9'; });
        return isOfOtherVersion ? "the file is of another version of zmu" : "the file is damaged";
    }
    const std::size_t sumLine = text.rfind(sumName);
    if (sumLine == text.npos || text[sumLine - 1] != '\n' ||
        text.substr(sumLine) != std::string(sumName) + sumOf(text.substr(0, sumLine)) + '\n')
        return "the file is damaged";
    text = text.substr(title.size(), sumLine - title.size());
    return {};
}

} // namespace zmu_spool

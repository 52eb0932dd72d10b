#include <zmu/log/internal/SuccessorName.h>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QStringView>

namespace {

qsizetype digitsAtEnd(QStringView text)
{
    qsizetype count = 0;
    while (count < text.size() && text[text.size() - 1 - count] >= u'0' &&
           text[text.size() - 1 - count] <= u'9')
        ++count;
    return count;
}

/// Takes "_YYYY-MM-DD_hh-mm-ss" off the end of `text`; false if it does not end so.
bool chopStamp(QStringView& text)
{
    constexpr int yearDigitsMin = 4;
    QStringView rest = text;
    for (const QChar separator : QStringView(u"--_--")) { // from the seconds to the month
        if (rest.size() < 3 || digitsAtEnd(rest) != 2 || rest[rest.size() - 3] != separator)
            return false;
        rest.chop(3);
    }
    const qsizetype yearDigits = digitsAtEnd(rest);
    if (yearDigits < yearDigitsMin || yearDigits == rest.size() ||
        rest[rest.size() - 1 - yearDigits] != u'_')
        return false;
    text = rest.chopped(yearDigits + 1);
    return true;
}

/// `base` without the stamp of an earlier name, and the number that may follow it.
///
/// Not a regular expression: the engine keeps a stack for each thread, which crashes at the
/// thread's end where a compiler frees thread-local memory before it is destroyed.
QString withoutStamp(const QString& base)
{
    QStringView text(base);
    if (chopStamp(text))
        return text.toString();
    const qsizetype numberDigits = digitsAtEnd(text);
    if (numberDigits == 0 || numberDigits == text.size() ||
        text[text.size() - 1 - numberDigits] != u'-')
        return base;
    text.chop(numberDigits + 1);
    return chopStamp(text) ? text.toString() : base;
}

} // namespace

std::wstring zmu::successorLogName(const wchar_t* present)
{
    constexpr int sameSecondMax = 9999;
    constexpr int numberMax = 5;     // characters of "-9999"
    constexpr int fileNameMax = 255; // bytes, of the common file systems

    if (!present || !*present)
        return {};
    const QFileInfo file(QString::fromWCharArray(present));
    const QString extension = file.suffix().isEmpty() ? QString() : u'.' + file.suffix();
    const QString now = QDateTime::currentDateTime().toString(u"_yyyy-MM-dd_HH-mm-ss");
    QString base = withoutStamp(file.completeBaseName());
    while ((base + now + extension).toUtf8().size() > fileNameMax - numberMax && !base.isEmpty())
        base.chop(1);
    const QString fresh = file.path() + u'/' + base + now;

    QString name = fresh + extension;
    for (int number = 2; QFile::exists(name); ++number) {
        if (number > sameSecondMax)
            return {};
        name = fresh + u'-' + QString::number(number) + extension;
    }
    return name.toStdWString();
}

#include <zmu/log/internal/SuccessorName.h>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QString>

std::wstring zmu::successorLogName(const wchar_t* present)
{
    constexpr int sameSecondMax = 9999;
    constexpr int numberMax = 5;     // characters of "-9999"
    constexpr int fileNameMax = 255; // bytes, of the common file systems

    if (!present || !*present)
        return {};
    const QFileInfo file(QString::fromWCharArray(present));
    static const QRegularExpression stamp(
        QStringLiteral("_\\d{4,}-\\d\\d-\\d\\d_\\d\\d-\\d\\d-\\d\\d(-\\d+)?$"));
    const QString extension = file.suffix().isEmpty() ? QString() : u'.' + file.suffix();
    const QString now = QDateTime::currentDateTime().toString(u"_yyyy-MM-dd_HH-mm-ss");
    QString base = file.completeBaseName().remove(stamp);
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

#include <zmu/log/internal/SuccessorName.h>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QString>

std::wstring zmu::successorLogName(const wchar_t* present)
{
    constexpr int sameSecondMax = 9999;

    if (!present || !*present)
        return {};
    const QFileInfo file(QString::fromWCharArray(present));
    static const QRegularExpression stamp(
        QStringLiteral("_\\d{4,}-\\d\\d-\\d\\d_\\d\\d-\\d\\d-\\d\\d(-\\d+)?$"));
    const QString directory = file.path();
    const QString base = file.completeBaseName().remove(stamp);
    const QString extension = file.suffix().isEmpty() ? QString() : u'.' + file.suffix();
    const QString fresh =
        QStringLiteral("%1/%2_%3").arg(directory, base, QDateTime::currentDateTime().toString(
                                                            u"yyyy-MM-dd_HH-mm-ss"));

    QString name = fresh + extension;
    for (int number = 2; QFile::exists(name); ++number) {
        if (number > sameSecondMax)
            return {};
        name = QStringLiteral("%1-%2%3").arg(fresh).arg(number).arg(extension);
    }
    return name.toStdWString();
}

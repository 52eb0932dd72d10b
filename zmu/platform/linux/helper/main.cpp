// The window program of the library: shows one window, or one message box, for the process that has
// started it. It ends when that process ends or lets go of it, or when the person closes the
// window.
#include <zmu/platform/linux/helper/BoxWindow.h>
#include <zmu/platform/linux/helper/Connection.h>
#include <zmu/platform/linux/helper/StatusWindow.h>

#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QSocketNotifier>
#include <QTranslator>

#include <cstdio>

using namespace zmu::window;

namespace {

/// Qt ends a program that cannot connect to its display with a core dump, after it has told the
/// reason in its first warning.
void tellFailure(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    static QString reason;
    if (reason.isEmpty())
        reason = message;
    if (type == QtFatalMsg)
        Connection::fail(reason);
}

/// Where the compositor decides on a window's place and what lies above it, those wishes cannot
/// even be told; by way of the X server they can.
void preferX11()
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb;wayland");
}

} // namespace

int main(int argc, char** argv)
{
    if (!Connection::isThere()) {
        std::fputs("zmu-window shows windows of the zmu library, which starts it by itself.\n",
                   stderr);
        return 2;
    }
    Connection::watchHost();
    qInstallMessageHandler(tellFailure);
    preferX11();
    const QApplication application(argc, argv);
    QTranslator words;
    if (words.load(QLocale(), "qtbase", "_", QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QApplication::installTranslator(&words);

    StatusWindow window;
    const QSocketNotifier orders(socketDescriptor, QSocketNotifier::Read);
    QObject::connect(&orders, &QSocketNotifier::activated, [&window] {
        QString text;
        const Request request = Connection::receive(text);
        Reply reply;
        if (request.order == Order::ShowBox) {
            reply.answer = Answer::Button;
            reply.button = askPerson(request, window.windowTitle(), text);
        } else {
            window.obey(request, text);
            reply = window.state();
        }
        Connection::send(reply);
    });
    Connection::send(window.state());
    return QApplication::exec();
}

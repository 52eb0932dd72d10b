#include <zmu/platform/linux/helper/StatusWindow.h>

#include <QGuiApplication>
#include <QPaintEvent>
#include <QPainter>
#include <QScreen>
#include <QStyle>
#include <QTextDocument>
#include <QVBoxLayout>

#include <algorithm>
#include <unistd.h>

namespace zmu::window {

namespace {

constexpr int charactersShown = 72;
constexpr int linesOfMargin = 1;

Frame toFrame(const QRect& rect)
{
    return {rect.left(), rect.top(), rect.left() + rect.width(), rect.top() + rect.height()};
}

QRect workArea()
{
    return QGuiApplication::primaryScreen() ? QGuiApplication::primaryScreen()->availableGeometry()
                                            : QRect();
}

/// Line breaks and other white space would leave the line.
QString onOneLine(const QString& text)
{
    return text.simplified();
}

} // namespace

QSize TextLine::sizeHint() const
{
    const int width = charactersShown * fontMetrics().averageCharWidth();
    return {std::min(width, workArea().width() * 4 / 5), fontMetrics().height()};
}

QSize TextLine::minimumSizeHint() const
{
    return {0, fontMetrics().height()};
}

void TextLine::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const QString shown = fontMetrics().elidedText(text(), Qt::ElideRight, width());
    style()->drawItemText(&painter, rect(), Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                          palette(), isEnabled(), shown, foregroundRole());
}

StatusWindow::StatusWindow()
    // No button closes it, as no dialog of the kind has one.
    : QWidget(nullptr, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                           Qt::WindowDoesNotAcceptFocus)
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_AlwaysShowToolTips); // It is never the active window.
    m_line = new TextLine(this);
    m_line->setTextFormat(Qt::PlainText);
    auto* const layout = new QVBoxLayout(this);
    const int margin = linesOfMargin * fontMetrics().height();
    layout->setContentsMargins(margin, margin, margin, margin);
    layout->addWidget(m_line);
    adjustSize();
    // The width stays while texts come and go, so that the window stands still.
    setFixedSize(size());
}

void StatusWindow::obey(const Request& request, const QString& text)
{
    switch (request.order) {
    case Order::SetTitle:
        setWindowTitle(text);
        break;
    case Order::SetText:
        m_line->setText(onOneLine(text));
        // All of it, for what is cut; never taken for marked-up text, and wrapped as such.
        m_line->setToolTip(Qt::convertFromPlainText(text, Qt::WhiteSpaceNormal));
        break;
    case Order::Show:
        setVisible(request.value != 0);
        break;
    case Order::Raise:
        raise();
        break;
    case Order::Place:
        move(request.frame.left, request.frame.top);
        break;
    case Order::StayOnTop:
        stayOnTop(request.value != 0);
        break;
    case Order::Repaint:
        repaint();
        break;
    case Order::AskState:
    case Order::ShowBox:
        break;
    }
    // What was asked for is on its way to the screen when the reply goes out.
    QGuiApplication::sync();
}

Reply StatusWindow::state() const
{
    Reply reply;
    reply.isVisible = isVisible();
    reply.isMinimized = isMinimized();
    reply.isMaximized = isMaximized();
    reply.window = toFrame(frameGeometry());
    reply.workArea = toFrame(workArea());
    return reply;
}

void StatusWindow::stayOnTop(bool stays)
{
    if (windowFlags().testFlag(Qt::WindowStaysOnTopHint) == stays)
        return;
    const bool wasVisible = isVisible();
    setWindowFlag(Qt::WindowStaysOnTopHint, stays); // Hides it.
    setVisible(wasVisible);
}

void StatusWindow::closeEvent(QCloseEvent*)
{
    _exit(0);
}

} // namespace zmu::window

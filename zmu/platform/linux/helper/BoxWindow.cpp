#include <zmu/platform/linux/helper/BoxWindow.h>

#include <zmu/platform/linux/helper/Connection.h>

#include <QCloseEvent>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <iterator>

namespace zmu::window {

namespace {

constexpr auto beat = std::chrono::seconds(1);

enum Answers : int {
    Ok = 1,
    Cancel = 2,
    Abort = 3,
    Retry = 4,
    Ignore = 5,
    Yes = 6,
    No = 7,
    TryAgain = 10,
    Continue = 11,
};

/// Buttons of a box, in their order; the low four bits of the style word are the row.
constexpr int buttonSets[][3] = {
    {Ok},      {Ok, Cancel},    {Abort, Retry, Ignore},       {Yes, No, Cancel},
    {Yes, No}, {Retry, Cancel}, {Cancel, TryAgain, Continue},
};

constexpr struct {
    int answer;
    QMessageBox::StandardButton button;
} ownButtons[] = {
    {Ok, QMessageBox::Ok},       {Cancel, QMessageBox::Cancel}, {Abort, QMessageBox::Abort},
    {Retry, QMessageBox::Retry}, {Ignore, QMessageBox::Ignore}, {Yes, QMessageBox::Yes},
    {No, QMessageBox::No},
};

/// A box that is closed without a button only where that is an answer.
class Box : public QMessageBox {
  public:
    QPushButton* add(int answer)
    {
        QPushButton* button = nullptr;
        for (const auto& row : ownButtons) {
            if (row.answer == answer)
                button = addButton(row.button);
        }
        if (!button)
            button = addButton(answer == TryAgain ? tr("&Try Again") : tr("&Continue"),
                               answer == TryAgain ? ResetRole : AcceptRole);
        button->setProperty("answer", answer);
        return button;
    }
    void letClose() { m_closes = true; }

  protected:
    void closeEvent(QCloseEvent* event) override
    {
        if (m_closes)
            QMessageBox::closeEvent(event);
        else
            event->ignore();
    }
    void keyPressEvent(QKeyEvent* event) override
    {
        if (m_closes || event->key() != Qt::Key_Escape)
            QMessageBox::keyPressEvent(event);
    }

  private:
    bool m_closes = false;
};

QMessageBox::Icon iconOf(unsigned style)
{
    switch (style & 0xF0) {
    case 0x10:
        return QMessageBox::Critical;
    case 0x20:
        return QMessageBox::Question;
    case 0x30:
        return QMessageBox::Warning;
    case 0x40:
        return QMessageBox::Information;
    default:
        return QMessageBox::NoIcon;
    }
}

void addButtons(Box& box, unsigned style)
{
    const unsigned preset = style >> 8 & 0xF;
    const auto& answers = buttonSets[(style & 0xF) % std::size(buttonSets)];
    unsigned count = 0;
    for (const int answer : answers) {
        if (answer == 0)
            break;
        QPushButton* const button = box.add(answer);
        if (count == 0 || count == preset)
            box.setDefaultButton(button);
        if (answer == Cancel)
            box.setEscapeButton(button);
        if (answer == Cancel || (answer == Ok && answers[1] == 0))
            box.letClose();
        ++count;
    }
}

/// A text that would leave no room for the buttons on the screen is one to scroll, and so is one
/// with a word that is too wide for a line, which is broken there. Last, since each part that is
/// added has the box lay out the others again.
void setText(Box& box, const QString& text)
{
    constexpr int widthMax = 500;
    const QSize screen = box.screen()->availableSize();
    const QSize most(std::min(widthMax, screen.width() * 3 / 4), screen.height() / 2);
    const QFontMetrics font = box.fontMetrics();
    const QSize needed = font.boundingRect(QRect(QPoint(), QSize(most.width(), 0)),
                                           Qt::TextWordWrap | Qt::TextExpandTabs, text)
                             .size();
    auto* const layout = qobject_cast<QGridLayout*>(box.layout());
    auto* const label = box.findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
    if (most.expandedTo(needed) == most || !layout || !label) {
        box.setText(text);
        return;
    }
    auto* const page = new QPlainTextEdit(text, &box);
    page->setReadOnly(true);
    page->setTabChangesFocus(true);
    page->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    const int linesMore = 2 + needed.width() / most.width();
    page->setFixedSize(most.width(),
                       std::min(most.height(), needed.height() + linesMore * font.height()));
    layout->replaceWidget(label, page);
    label->hide();
}

} // namespace

int askPerson(const Request& request, const QString& caption, const QString& text)
{
    constexpr unsigned systemModal = 0x1000;
    constexpr unsigned topMost = 0x40000;
    constexpr unsigned right = 0x80000;
    constexpr unsigned rightToLeft = 0x100000;
    const auto style = static_cast<unsigned>(request.value);

    Box box;
    box.setWindowTitle(caption);
    box.setTextFormat(Qt::PlainText);
    box.setIcon(iconOf(style));
    addButtons(box, style);
    setText(box, text);
    if (style & (systemModal | topMost))
        box.setWindowFlag(Qt::WindowStaysOnTopHint);
    if (style & (right | rightToLeft))
        box.setLayoutDirection(Qt::RightToLeft);
    if (const Frame& owner = request.frame; owner.left < owner.right) {
        box.adjustSize();
        box.move((owner.left + owner.right - box.width()) / 2,
                 (owner.top + owner.bottom - box.height()) / 2);
    }

    QTimer alive;
    QObject::connect(&alive, &QTimer::timeout, [] {
        Reply reply;
        reply.answer = Answer::Alive;
        Connection::send(reply);
    });
    alive.start(beat);
    box.exec();
    return box.clickedButton() ? box.clickedButton()->property("answer").toInt() : 0;
}

} // namespace zmu::window

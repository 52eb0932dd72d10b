// The window with one line of text.
#pragma once

#include <zmu/platform/linux/WindowProtocol.h>

#include <QLabel>
#include <QWidget>

namespace zmu::window {

/// A text on one line, cut with an ellipsis where it is too long for its place.
class TextLine : public QLabel {
  public:
    using QLabel::QLabel;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
};

/// Shows one text and never takes the focus. When the person closes it the program ends.
class StatusWindow : public QWidget {
  public:
    StatusWindow();
    /// Does what `request` asks for, other than a box.
    void obey(const Request& request, const QString& text);
    Reply state() const;

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    void stayOnTop(bool stays);

    TextLine* m_line;
};

} // namespace zmu::window

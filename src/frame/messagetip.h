#pragma once

#include <QWidget>

class QHBoxLayout;
class QLabel;

// A short rounded notice over the main window that vanishes by itself and
// never takes the focus.
class MessageTip : public QWidget
{
    Q_OBJECT

public:
    MessageTip(const QString &text, QWidget *parent = nullptr);
    ~MessageTip() override;

    // Shows the tip; it closes and deletes itself after 600 ms.
    void showTip();

    // Where a tip of tipSize goes over a window with the given geometry:
    // centred horizontally, its middle at the golden section from the top.
    static QPoint tipPosition(const QRect &windowGeometry, const QSize &tipSize);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    QHBoxLayout *layout = nullptr;
    QLabel *label = nullptr;
    QString text;
    bool composited = true;
};

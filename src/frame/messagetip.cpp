#include "frame/messagetip.h"

#include <QColor>
#include <QFont>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QRegion>
#include <QTimer>

#include "common/log.h"
#include "platform/compositing.h"

MessageTip::MessageTip(const QString &text, QWidget *parent) : QWidget(parent), text(text)
{
    // Takes neither the focus nor clicks, and the window manager keeps no frame
    // around it: otherwise the tip got the focus when the main window hid under
    // it, and clicks on the list under it hit the tip.
    setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                   Qt::BypassWindowManagerHint | Qt::WindowDoesNotAcceptFocus |
                   Qt::WindowTransparentForInput);
    composited = platform::isCompositingActive();
    if (composited)
        setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);

    layout = new QHBoxLayout(this);
    label = new QLabel(this);
    layout->addWidget(label);

    QFont font(QStringLiteral("微软雅黑"));
    font.setPointSize(18);
    font.setWeight(QFont::Bold);
    label->setFont(font);
    label->setText(text);
    label->setAlignment(Qt::AlignCenter);
    QPalette palette = label->palette();
    palette.setColor(QPalette::All, QPalette::WindowText, QColor(255, 255, 255, 255));
    label->setPalette(palette);
}

MessageTip::~MessageTip()
{
    LOG_INFO(QStringLiteral("MessageTip destruct"));
}

void MessageTip::showTip()
{
    show();
    QTimer::singleShot(600, this, [this] {
        close();
        deleteLater();
    });
}

void MessageTip::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    // Without blending the corners outside the rounded shape would show
    // black; the window's shape cuts them off instead.
    if (!composited) {
        QPainterPath path;
        path.addRoundedRect(QRectF(rect()), 15.0, 15.0);
        setMask(QRegion(path.toFillPolygon().toPolygon()));
    }
}

QPoint MessageTip::tipPosition(const QRect &windowGeometry, const QSize &tipSize)
{
    const int x = windowGeometry.center().x() - tipSize.width() / 2;
    const int y =
        static_cast<int>(windowGeometry.bottom() - windowGeometry.height() * 0.618 - tipSize.height() / 2);
    return QPoint(x, y);
}

void MessageTip::paintEvent(QPaintEvent *event)
{
    Q_UNUSED(event)
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor fill(192, 192, 192, 255);
    painter.setBrush(QBrush(fill, Qt::SolidPattern));
    painter.setPen(QPen(fill, 2.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
    painter.drawRoundedRect(rect(), 15.0, 15.0, Qt::AbsoluteSize);
}

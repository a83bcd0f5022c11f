#pragma once

#include <QGraphicsDropShadowEffect>

// A drop shadow drawn only inside the widget's own rectangle. The menu leaves
// a transparent margin for it through its style sheet, so the shadow never
// needs room outside the widget.
class CustomGraphicsDropShadowEffect : public QGraphicsDropShadowEffect
{
    Q_OBJECT

public:
    using QGraphicsDropShadowEffect::QGraphicsDropShadowEffect;

    QRectF boundingRectFor(const QRectF &rect) const override;
};

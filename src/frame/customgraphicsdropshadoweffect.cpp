#include "frame/customgraphicsdropshadoweffect.h"

QRectF CustomGraphicsDropShadowEffect::boundingRectFor(const QRectF &rect) const
{
    return rect;
}

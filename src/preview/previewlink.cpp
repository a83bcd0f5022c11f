#include "preview/previewlink.h"

#include "preview/previewplacement.h"

QSize PreviewLink::sizeHint() const
{
    const QSize size = defaultPreviewSize();
    return size.isEmpty() ? PreviewBase::sizeHint() : size;
}

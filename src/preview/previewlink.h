#pragma once

#include "preview/previewbase.h"

// A preview window for a link. Links open in the browser instead, so
// nothing creates it yet.
class PreviewLink : public PreviewBase
{
    Q_OBJECT

public:
    using PreviewBase::PreviewBase;

    // Six tenths of the primary screen.
    QSize sizeHint() const override;
};

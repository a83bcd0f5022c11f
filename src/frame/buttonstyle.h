#pragma once

#include <QString>

// The look of the small icon buttons beside the windows' content (pin,
// settings, save): no frame, and a round grey patch under the pointer.
inline QString roundIconButtonStyle()
{
    return QStringLiteral(
        "QPushButton { border: none; }QPushButton:hover{background-color:rgb(227, 227, 227); border-radius:11px;}");
}

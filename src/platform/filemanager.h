#pragma once

#include <QString>

namespace platform {

// Shows the file selected in a window of the desktop's file manager. Where
// that cannot be done, opens the folder that holds the file instead. Returns
// at once: the file manager may answer later.
void showFileInFolder(const QString &filePath);

// Opens a folder in the desktop's file manager.
void openFolder(const QString &folderPath);

} // namespace platform

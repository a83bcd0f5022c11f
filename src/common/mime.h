#pragma once

#include <QString>

// The vocabulary of an item's data map: MIME string to value.
// The private application/x-vorlik-* keys never leave the program, with the
// single exception of MIME_IGNORE, the marker on the program's own writes.
extern const QString MIME_TEXT;
extern const QString MIME_TEXT_UTF8;
extern const QString MIME_HTML;
extern const QString MIME_URI_LIST;
extern const QString MIME_IMAGE_PNG;
extern const QString MIME_IMAGE_PREFIX;
extern const QString MIME_APP;
extern const QString MIME_IGNORE;
extern const QString MIME_OCR_RESULT;
extern const QString MIME_WEB_TITLE;
extern const QString MIME_CUSTOM_ID;
extern const QString MIME_EXE_PATH;
extern const QString MIME_PHONE;
extern const QString MIME_REMARK;

#include "common/mime.h"

const QString MIME_TEXT = QStringLiteral("text/plain");
const QString MIME_TEXT_UTF8 = QStringLiteral("text/plain;charset=utf-8");
const QString MIME_HTML = QStringLiteral("text/html");
const QString MIME_URI_LIST = QStringLiteral("text/uri-list");
const QString MIME_IMAGE_PNG = QStringLiteral("image/png");
const QString MIME_IMAGE_PREFIX = QStringLiteral("image/");
const QString MIME_APP = QStringLiteral("application/x-vorlik");
const QString MIME_IGNORE = QStringLiteral("application/x-vorlik-ignore");
const QString MIME_OCR_RESULT = QStringLiteral("application/x-vorlik-ocrres");
const QString MIME_WEB_TITLE = QStringLiteral("application/x-vorlik-webtitle");
const QString MIME_CUSTOM_ID = QStringLiteral("application/x-vorlik-customid");
const QString MIME_EXE_PATH = QStringLiteral("application/x-vorlik-exepath");
const QString MIME_PHONE = QStringLiteral("application/x-vorlik-phone");
const QString MIME_REMARK = QStringLiteral("application/x-vorlik-remark");

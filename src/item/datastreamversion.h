#pragma once

#include <QDataStream>

// Every stream that writes stored bytes (database blobs, setting values)
// uses this version, so that a Qt upgrade never changes what lands on disk.
constexpr QDataStream::Version kStoredStreamVersion = QDataStream::Qt_6_0;

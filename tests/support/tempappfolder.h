#pragma once

#include <QString>
#include <QTemporaryDir>

// A throw-away folder that stands for the one the program keeps its files
// in (beside the executable): config/, vorlik.db, vorlik.log, temp/.
class TempAppFolder
{
public:
    TempAppFolder();

    bool isValid() const { return dir.isValid(); }
    QString path() const { return dir.path(); }
    QString filePath(const QString &name) const { return dir.filePath(name); }

private:
    QTemporaryDir dir;
};

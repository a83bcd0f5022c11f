#pragma once

#include <QHash>
#include <QMimeData>
#include <QStringList>

// A read-through cache over the system's clipboard data. On X11 every
// question to the system's object is a round trip to the X server, and every
// payload read one to the owning program; a capture asks many questions of
// one change. The snapshot asks for the format list once and for each
// payload at most once, and answers exactly as the system's object would.
//
// While changes come faster than they are read, an owner that took the
// clipboard after the change being handled refuses the read, which comes
// back empty. Each question answered empty while a program owns the
// clipboard is asked once more, as of now; the snapshot then answers with
// what the present owner holds.
class ClipboardSnapshot : public QMimeData
{
    Q_OBJECT
public:
    explicit ClipboardSnapshot(const QMimeData *source);

    QStringList formats() const override { return cachedFormats; }
    bool hasFormat(const QString &mimeType) const override { return cachedFormats.contains(mimeType); }

protected:
    QVariant retrieveData(const QString &mimeType, QMetaType type) const override;

private:
    QVariant readFromSource(const QString &mimeType, QMetaType type) const;
    // Whether an empty answer is worth asking again; the reads that follow
    // are then stamped with the present time.
    bool mayReadAgain() const;

    const QMimeData *source;
    QStringList cachedFormats;
    mutable QHash<QString, QVariant> cache;
};

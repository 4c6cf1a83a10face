// Where the demo's cameras come from and where the user's changes go.
//
// The cameras live in the process-wide node database (kq::NodeDB::getDB()),
// loaded from a node-database JSON document:
// - the built-in document, compiled into the demo (builtInPath()); it is never
//   written. Saving the built-in set writes userDataPath() instead, and the
//   next start loads that file in its place;
// - or a document the user names (--cameras FILE, File > Open); saving writes
//   back to that file.
#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <QVariant>

namespace demo {

class CameraDocument {
public:
    // The resource path of the built-in document.
    static QString builtInPath();
    // The file the built-in set is saved to: cameras.json in the
    // application's data directory (QStandardPaths::AppDataLocation).
    static QString userDataPath();

    // The document the cameras were loaded from (builtInPath() for the
    // built-in set); empty before the first successful load.
    QString sourcePath() const { return m_source; }
    // Where save() writes: the loaded file, or userDataPath() for the
    // built-in set.
    QString savePath() const;
    bool isBuiltIn() const { return m_source == builtInPath(); }

    // Replaces the cameras of the node database by the document at path.
    // A file that cannot be read or is not a valid document changes nothing,
    // answers false and sets *error to a message that names the file and
    // what is wrong.
    bool load(const QString& path, QString* error);

    // The start-up choice: the file given (if not empty); else the saved copy
    // of the built-in set, when there is one; else the built-in document.
    // A file that fails to load is reported in *problems and the next choice
    // is tried, so the demo always ends with cameras (the built-in document
    // is known good). Answers whether the first choice loaded.
    bool loadAtStart(const QString& file, QStringList* problems);

    // Writes the node database to savePath(), creating its directory. On
    // failure answers false with *error naming the file and the reason; the
    // file is then left as it was.
    bool save(QString* error) const;

    // Shows url (a stream or video file) on every camera, those loaded now
    // and those of documents loaded later, for this run only: it is not
    // part of any document, and save() writes each camera's own "video"
    // (or none). An empty url shows the cameras' own video again.
    void setVideoOverride(const QString& url);
    QString videoOverride() const { return m_videoOverride; }

private:
    // Puts the override on the cameras now in the node database, keeping
    // what each had, or puts back what they had (override false).
    void showOverride(bool override) const;

    QString m_source;
    QString m_videoOverride;
    // The cameras' own "video", by node id, while the override shows
    // (invalid: the camera had none).
    mutable QHash<QString, QVariant> m_ownVideo;
};

} // namespace demo

#include "CameraDocument.h"

#include <kq/NodeDB.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace demo {

QString CameraDocument::builtInPath() { return QStringLiteral(":/demo/cameras.json"); }

QString CameraDocument::userDataPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation)
        + QStringLiteral("/cameras.json");
}

QString CameraDocument::savePath() const
{
    if (m_source.isEmpty() || isBuiltIn())
        return userDataPath();
    return m_source;
}

bool CameraDocument::load(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("Cannot read %1: %2").arg(QDir::toNativeSeparators(path), file.errorString());
        return false;
    }
    const QByteArray json = file.readAll();

    // Check the document in a scratch database first: the shared one must
    // keep its cameras when the document is bad.
    kq::NodeDB scratch;
    QString why;
    if (!scratch.loadJson(json, &why)) {
        *error = QStringLiteral("%1 is not a valid camera document: %2")
                     .arg(QDir::toNativeSeparators(path), why);
        return false;
    }
    if (scratch.nodeIds().isEmpty()) {
        *error = QStringLiteral("%1 holds no cameras").arg(QDir::toNativeSeparators(path));
        return false;
    }
    // The old cameras go with the scratch database.
    kq::NodeDB::getDB()->swap(scratch);
    m_source = path;
    m_ownVideo.clear();
    if (!m_videoOverride.isEmpty())
        showOverride(true);
    return true;
}

bool CameraDocument::loadAtStart(const QString& file, QStringList* problems)
{
    QStringList candidates;
    if (!file.isEmpty())
        candidates << file;
    if (QFileInfo::exists(userDataPath()))
        candidates << userDataPath();
    candidates << builtInPath();

    for (const QString& path : candidates) {
        QString error;
        if (load(path, &error))
            return path == candidates.first();
        problems->append(error);
    }
    return false; // only when the built-in document itself is broken
}

bool CameraDocument::save(QString* error) const
{
    const QString path = savePath();
    const QString where = QDir::toNativeSeparators(path);
    if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
        *error = QStringLiteral("Cannot create the folder for %1").arg(where);
        return false;
    }
    // The document gets the cameras' own video, not what this run shows.
    if (!m_videoOverride.isEmpty())
        showOverride(false);
    const QByteArray json = kq::NodeDB::getDB()->toJson();
    if (!m_videoOverride.isEmpty())
        showOverride(true);
    // QSaveFile replaces the old file only once the new one is complete.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(json) < 0 || !file.commit()) {
        *error = QStringLiteral("Cannot write %1: %2").arg(where, file.errorString());
        return false;
    }
    return true;
}

void CameraDocument::setVideoOverride(const QString& url)
{
    if (!m_videoOverride.isEmpty())
        showOverride(false);
    m_videoOverride = url;
    if (!m_videoOverride.isEmpty())
        showOverride(true);
}

void CameraDocument::showOverride(bool override) const
{
    const QString key = QStringLiteral("video");
    kq::NodeDB* db = kq::NodeDB::getDB();
    for (const QString& id : db->nodeIds()) {
        const auto session = db->node(id)->session();
        if (override) {
            m_ownVideo.insert(id, session->attribute(key));
            session->setAttribute(key, m_videoOverride);
        } else if (m_ownVideo.contains(id)) {
            session->setAttribute(key, m_ownVideo.value(id));
        }
    }
    if (!override)
        m_ownVideo.clear();
}

} // namespace demo

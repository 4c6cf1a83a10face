// How long the demo's settings dialog takes to show a selection of many
// cameras: the whole update cycle of every tab (reset, update per camera) and
// the change tracker's snapshot, as one selection change in the camera list
// runs it. The cameras are generated from the built-in ones: each copy gets
// its own identifier, name and a few values of its own, so that widgets merge
// differing values as they would over a real installation. The time includes
// the work the selection change leaves to the event loop.
//
//   configdialogs_demo_bench [COUNT...]     (default 1000 2000 5000 10000)
//
// Prints, per count, the fastest of three runs in milliseconds (wall time)
// and the time per camera; the per-camera figure staying flat shows that the
// cost grows linearly.
#include "CameraDocument.h"
#include "CameraSettingsDialog.h"

#include <kq/NodeDB.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>

namespace {

// The built-in cameras' node objects.
QJsonArray builtInNodes()
{
    QFile file(demo::CameraDocument::builtInPath());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("nodes")).toArray();
}

// count cameras, copies of the built-in ones in turn.
QByteArray generatedDocument(const QJsonArray& models, int count)
{
    QJsonArray nodes;
    for (int k = 0; k < count; ++k) {
        QJsonObject node = models.at(k % models.size()).toObject();
        const QString id = QStringLiteral("gen-%1").arg(k, 5, 10, QLatin1Char('0'));
        node.insert(QStringLiteral("id"), id);
        node.insert(QStringLiteral("name"), id);
        QJsonArray properties = node.value(QStringLiteral("properties")).toArray();
        for (int p = 0; p < properties.size(); ++p) {
            QJsonObject property = properties.at(p).toObject();
            const QString kind = property.value(QStringLiteral("kind")).toString();
            // Every fifth camera has a name of its own; the others share one.
            if (property.value(QStringLiteral("idName")).toString() == QLatin1String("Name"))
                property.insert(QStringLiteral("value"), k % 5 == 0 ? id : QStringLiteral("Camera"));
            if (kind == QLatin1String("bool") && k % 3 == 0)
                property.insert(QStringLiteral("value"), !property.value(QStringLiteral("value")).toBool());
            properties.replace(p, property);
        }
        node.insert(QStringLiteral("properties"), properties);
        nodes.append(node);
    }
    return QJsonDocument(QJsonObject { { QStringLiteral("nodes"), nodes } }).toJson(QJsonDocument::Compact);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QVector<int> counts;
    for (int i = 1; i < argc; ++i)
        counts.append(QString::fromLocal8Bit(argv[i]).toInt());
    if (counts.isEmpty())
        counts = { 1000, 2000, 5000, 10000 };

    const QJsonArray models = builtInNodes();
    if (models.isEmpty()) {
        std::fprintf(stderr, "cannot read the built-in cameras\n");
        return 1;
    }

    std::printf("| cameras | selection change (ms) | per camera (us) |\n|---|---|---|\n");
    for (int count : counts) {
        QString error;
        if (count <= 0 || !kq::NodeDB::getDB()->loadJson(generatedDocument(models, count), &error)) {
            std::fprintf(stderr, "cannot load %d cameras: %s\n", count, qPrintable(error));
            return 1;
        }
        const QStringList ids = kq::NodeDB::getDB()->nodeIds();
        demo::CameraSettingsDialog dialog;
        qint64 fastest = -1;
        for (int run = 0; run < 3; ++run) {
            dialog.setCameras(QStringList());
            QElapsedTimer timer;
            timer.start();
            dialog.setCameras(ids);
            // What the selection change left for the event loop (the tree's
            // column sizing, the tracker's first comparison) belongs to it.
            QCoreApplication::sendPostedEvents();
            QCoreApplication::processEvents();
            const qint64 ns = timer.nsecsElapsed();
            fastest = fastest < 0 ? ns : std::min(fastest, ns);
        }
        std::printf("| %d | %.1f | %.1f |\n", count, fastest / 1e6, fastest / 1e3 / count);
        std::fflush(stdout);
    }
    return 0;
}

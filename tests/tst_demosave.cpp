// The demo's Save killed at random moments: a child process (this executable
// run again with `--child save VARIANT COUNT`) fills the node database with a
// large camera set and saves it through demo::CameraDocument::save, the only
// place where the demo writes a document; the parent kills it with SIGKILL
// at a random time during the save, 50 times. The file must always hold one
// complete document: the one saved before, or the new one.
//
// KQ_SAVEKILL_SEED replays a run's kill times (the seed is printed).
#include "CameraDocument.h"

#include <kq/NodeDB.h>

#include "documents_testsupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcessEnvironment>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <chrono>
#include <cstdio>
#include <thread>

namespace {

#ifdef CONFIGDIALOGS_SANITIZED
// Every allocation is checked and fully unwound: fewer cameras keep 51
// children within seconds.
const int kCameras = 20;
#else
const int kCameras = 700;
#endif
const int kKills = 50;

// The camera set of one variant: generated cameras, each with a note of
// 25,000 characters so that the document (about 21 MB, 0.6 MB under the
// sanitizers) takes a while to write.
bool fillDatabase(kq::NodeDB* db, int count, int variant)
{
    db->clear();
    if (!db->loadJson(doctest::cameraDocument(count, variant)))
        return false;
    const QString note(25000, QChar(QLatin1Char(char('a' + variant))));
    for (const QString& id : db->nodeIds())
        db->node(id)->session()->setAttribute(QStringLiteral("notes"), note);
    return true;
}

// The child's role: fill the database with `variant`, then announce the save
// and save.
int saveChild(const QStringList& arguments)
{
    kq::NodeDB* db = kq::NodeDB::getDB();
    if (!fillDatabase(db, arguments.value(1).toInt(), arguments.value(0).toInt()))
        return 2;
    demo::CameraDocument document;
    std::printf("saving %s\n", qPrintable(document.savePath()));
    std::fflush(stdout);
    QElapsedTimer timer;
    timer.start();
    QString error;
    if (!document.save(&error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 3;
    }
    std::printf("saved %lld\n", timer.nsecsElapsed() / 1000);
    std::fflush(stdout);
    return 0;
}

struct SaveRun {
    QString path;
    bool finished = false;
    qint64 saveUs = 0;
};

// Starts a child saving `variant`; waits until it starts saving, then kills
// it after `delayUs` (or lets it finish when `delayUs` is negative).
bool runChild(const QProcessEnvironment& environment, int variant, qint64 delayUs, SaveRun* run)
{
    QProcess child;
    child.setProcessEnvironment(environment);
    if (!doctest::startChild(&child, QStringLiteral("save"), { QString::number(variant), QString::number(kCameras) }))
        return false;
    QByteArray output;
    while (!output.contains('\n')) {
        if (!child.waitForReadyRead(60000)) {
            qWarning("child: %s", child.readAllStandardError().constData());
            return false;
        }
        output += child.readAllStandardOutput();
    }
    if (delayUs >= 0) {
        std::this_thread::sleep_for(std::chrono::microseconds(delayUs));
        child.kill();
    }
    if (!child.waitForFinished(60000))
        return false;
    output += child.readAllStandardOutput();
    const QList<QByteArray> lines = output.trimmed().split('\n');
    if (!lines.first().startsWith("saving "))
        return false;
    run->path = QString::fromLocal8Bit(lines.first().mid(7));
    run->finished = child.exitStatus() == QProcess::NormalExit;
    if (run->finished && (child.exitCode() != 0 || lines.size() < 2)) {
        qWarning("child: %s", child.readAllStandardError().constData());
        return false;
    }
    run->saveUs = run->finished ? lines.at(1).mid(6).toLongLong() : 0;
    return true;
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestDemoSave : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void killedWhileSavingLeavesTheOldOrTheNewDocument();
};

void TestDemoSave::killedWhileSavingLeavesTheOldOrTheNewDocument()
{
    bool seeded = false;
    quint32 seed = quint32(qEnvironmentVariableIntValue("KQ_SAVEKILL_SEED", &seeded));
    if (!seeded)
        seed = QRandomGenerator::global()->generate();
    std::printf("kill seed %u (KQ_SAVEKILL_SEED=%u replays it)\n", seed, seed);
    QRandomGenerator random(seed);

    // What each variant's save writes, built here as the child builds it.
    QByteArray expected[2];
    for (int variant = 0; variant < 2; ++variant) {
        kq::NodeDB db;
        QVERIFY(fillDatabase(&db, kCameras, variant));
        expected[variant] = db.toJson();
    }
    QVERIFY(expected[0] != expected[1]);

    // The children save the built-in camera set: to the user's data
    // directory, here a temporary one.
    QTemporaryDir home;
    QVERIFY(home.isValid());
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), home.path());

    // One save left to finish: the old document, and how long a save takes.
    SaveRun run;
    QVERIFY(runChild(environment, 0, -1, &run));
    QVERIFY(run.finished);
    QVERIFY(run.path.startsWith(home.path()));
    QVERIFY(readFile(run.path) == expected[0]);
    const qint64 saveUs = run.saveUs;
    const QString path = run.path;

    int onDisk = 0;
    int keptOld = 0;
    int wroteNew = 0;
    int finished = 0;
    QElapsedTimer timer;
    timer.start();
    for (int kill = 0; kill < kKills; ++kill) {
        const int variant = 1 - onDisk;
        // Anywhere from the start of the save to as long again after its end
        // (a save under load can take longer than the one measured).
        const qint64 delayUs = random.bounded(quint32(2 * saveUs + 1));
        QVERIFY2(runChild(environment, variant, delayUs, &run), qPrintable(QString::number(kill)));
        QCOMPARE(run.path, path);
        finished += run.finished ? 1 : 0;

        const QByteArray now = readFile(path);
        if (now == expected[onDisk]) {
            ++keptOld;
        } else if (now == expected[variant]) {
            ++wroteNew;
            onDisk = variant;
        } else {
            // Neither: say what the file holds instead.
            kq::NodeDB db;
            QString error;
            const bool loads = db.loadJson(now, &error);
            QFAIL(qPrintable(QStringLiteral("kill %1 after %2 us left %3 bytes (documents: %4 and %5): %6")
                                 .arg(kill)
                                 .arg(delayUs)
                                 .arg(now.size())
                                 .arg(expected[0].size())
                                 .arg(expected[1].size())
                                 .arg(loads ? QStringLiteral("a different document") : error)));
        }
        // The file on disk also loads: parse it now and then (a byte-equal
        // copy of a complete document, so every time would say the same).
        if (kill % 10 == 0) {
            kq::NodeDB db;
            QString error;
            QVERIFY2(db.loadJson(now, &error), qPrintable(error));
            QCOMPARE(db.nodeIds().size(), kCameras);
        }
    }
    const QStringList left = QDir(QFileInfo(path).absolutePath()).entryList(QDir::Files | QDir::Hidden);
    std::printf("%d kills within 0-%lld us of a %lld us save of %.1f MB: %d left the old document, %d the new "
                "one (%d saves had finished); files in the folder: %s; %lld ms\n",
        kKills, 2 * saveUs, saveUs, expected[0].size() / 1e6, keptOld, wroteNew, finished,
        qPrintable(left.join(QLatin1String(", "))), timer.elapsed());
    // The kill times straddle the moment the new document replaces the old
    // one (half of them fall after the end of a save as long as the one
    // measured).
    QVERIFY2(keptOld > 0 && wroteNew > 0, "every kill fell on the same side of the replacement");
}

int main(int argc, char** argv)
{
    return doctest::suiteMain<TestDemoSave>(argc, argv, "save", saveChild);
}

#include "tst_demosave.moc"

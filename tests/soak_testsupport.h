// The soak driver of the demo's camera settings (tst_demosoak): generated
// cameras, the operator's actions as one-line steps, the checks after each
// step, and replaying and shrinking a list of steps.
//
// A step is one line: a verb, its words, and for typed text " : " followed by
// the text, e.g. "select ctrl 12 apply", "type name : Back yard",
// "grab motionPane 1 br -120 40". Running a step needs nothing but its line
// and the state the steps before it left, so a list replays exactly; an index
// is taken modulo what exists (a window, a row), and a step with nothing to
// act on does nothing.
//
// After every step the session checks, against its own record of the cameras
// as last applied (the node database's document then):
// - nothing but Apply (the button, Save, or the Apply answer to the question
//   about changes not applied) changes the cameras; an Apply changes only the
//   settings of the cameras shown that the steps since the last load edited,
//   the windows only of the first camera shown, and a second Apply right
//   after it changes nothing;
// - after Apply, Revert or a change of the cameras shown, the dialog shows
//   exactly what a dialog freshly opened over the same cameras shows;
// - Apply and Revert are enabled, and the title carries "*", exactly while
//   the dialog has changes; the list selects the cameras the dialog shows;
// - every window, in the panes and stored, is well formed;
// - the alarm receivers have at most one master row, and the master-port
//   label shows its committed port;
// - Save writes a file that loads back equal to the cameras; opening a valid
//   file loads exactly it, a broken one changes nothing.
#pragma once

#include "CameraDocument.h"
#include "CameraSettingsDialog.h"
#include "MainWindow.h"
#include "ModalBoxCloser.h"
#include "demo_testsupport.h"

#include <ConfigDialogs/ExposureWindowPane.h>
#include <ConfigDialogs/IpPortTreeWidget.h>
#include <ConfigDialogs/VideoMotionWindowPane.h>
#include <kq/NodeDB.h>
#include <kq/OnScreenDisplay.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QSpinBox>
#include <QTabBar>
#include <QTabWidget>
#include <QTreeWidget>
#include <QtTest>

#include <cmath>

#include <algorithm>
#include <functional>
#include <memory>

namespace soak {

// ---------------------------------------------------------------------------
// Steps and lists of steps

struct Step {
    QStringList words; // the verb first
    QString text; // typed text, for the steps that type

    QString verb() const { return words.value(0); }
    QString word(int i) const { return words.value(i); }
    int number(int i) const { return words.value(i).toInt(); }

    QString line() const
    {
        QString result = words.join(QLatin1Char(' '));
        if (verb() == QLatin1String("type") || verb() == QLatin1String("cell"))
            result += QStringLiteral(" : ") + text;
        return result;
    }
    static Step fromLine(const QString& line)
    {
        Step step;
        const int colon = line.indexOf(QStringLiteral(" : "));
        step.words = (colon < 0 ? line : line.left(colon)).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (colon >= 0)
            step.text = line.mid(colon + 3);
        return step;
    }
};

struct Script {
    quint32 seed = 1;
    int cameras = 40;
    QVector<Step> steps;

    QString toText() const
    {
        QString text = QStringLiteral("seed %1\ncameras %2\n").arg(seed).arg(cameras);
        for (const Step& step : steps)
            text += step.line() + QLatin1Char('\n');
        return text;
    }
    // The header lines "seed N" and "cameras N" first, then one step a line;
    // empty lines and lines starting with '#' are skipped.
    static bool fromText(const QString& text, Script* script, QString* error)
    {
        Script result;
        bool seedSeen = false;
        for (const QString& raw : text.split(QLatin1Char('\n'))) {
            const QString line = raw.trimmed().isEmpty() ? QString() : raw;
            if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
                continue;
            const Step step = Step::fromLine(line);
            bool ok = true;
            if (step.verb() == QLatin1String("seed")) {
                result.seed = step.word(1).toUInt(&ok);
                seedSeen = true;
            } else if (step.verb() == QLatin1String("cameras")) {
                result.cameras = step.word(1).toInt(&ok);
                ok = ok && result.cameras > 0;
            } else {
                result.steps.append(step);
            }
            if (!ok) {
                *error = QStringLiteral("bad line: %1").arg(line);
                return false;
            }
        }
        if (!seedSeen) {
            *error = QStringLiteral("no \"seed N\" line");
            return false;
        }
        *script = result;
        return true;
    }
};

struct Outcome {
    qint64 actions = 0;
    QString failure; // empty when every check held
};

struct Limits {
    qint64 actions = -1; // -1: no limit
    qint64 milliseconds = -1; // -1: no limit
    std::function<void(const QString&)> progress;
    // When set, the script is written here as it runs, each step before it
    // is performed, so that a run stopped by a crash or a sanitizer replays.
    QString journal;
};

// ---------------------------------------------------------------------------
// Generated cameras

// `count` cameras made from the demo's built-in camera models, with random
// settings, windows (polygons on the cameras with lens correction), events
// and alarm receivers; the same seed gives the same document.
inline QByteArray generateCameras(quint32 seed, int count)
{
    QFile builtIn(demo::CameraDocument::builtInPath());
    if (!builtIn.open(QIODevice::ReadOnly))
        return QByteArray();
    const QJsonArray models
        = QJsonDocument::fromJson(builtIn.readAll()).object().value(QStringLiteral("nodes")).toArray();
    if (models.isEmpty())
        return QByteArray();

    QRandomGenerator rng(seed);
    const auto pick = [&rng](const QStringList& pool) { return pool.at(rng.bounded(pool.size())); };
    const auto subset = [&rng](const QJsonArray& values) {
        QJsonArray chosen;
        for (const QJsonValue& value : values) {
            if (rng.bounded(2))
                chosen.append(value);
        }
        return chosen;
    };
    // Small pools, so that selected cameras often agree.
    const QStringList names { QStringLiteral("Entrance"), QStringLiteral("Yard"), QStringLiteral("Gate"),
        QStringLiteral("Lobby"), QStringLiteral("Loading bay"), QString() };
    const QStringList receivers { QStringLiteral("127.0.0.1:9000"), QStringLiteral("192.168.0.20:8000"),
        QStringLiteral("192.168.0.21:8000"), QStringLiteral("10.1.0.5:9000"), QStringLiteral("10.1.0.6:7000") };

    QJsonArray nodes;
    for (int i = 0; i < count; ++i) {
        QJsonObject node = models.at(i % models.size()).toObject();
        const QString id = QStringLiteral("cam-%1").arg(i, 2, 10, QLatin1Char('0'));
        node.insert(QStringLiteral("id"), id);
        node.insert(QStringLiteral("name"), QStringLiteral("Camera %1").arg(i));
        const QJsonArray image = node.value(QStringLiteral("imageRect")).toArray();
        const int width = image.at(2).toInt();
        const int height = image.at(3).toInt();

        QJsonArray properties;
        for (const QJsonValue& value : node.value(QStringLiteral("properties")).toArray()) {
            QJsonObject property = value.toObject();
            const QString kind = property.value(QStringLiteral("kind")).toString();
            const QString propertyId = property.value(QStringLiteral("id")).toString();
            const int options = property.value(QStringLiteral("values")).toArray().size();
            if (propertyId == QLatin1String("0x1001")) {
                property.insert(QStringLiteral("value"), pick(names));
            } else if (kind == QLatin1String("bool")) {
                property.insert(QStringLiteral("value"), bool(rng.bounded(2)));
            } else if (kind.endsWith(QLatin1String("Options")) && !kind.startsWith(QLatin1String("stringMulti"))) {
                property.insert(QStringLiteral("selected"), int(rng.bounded(options)));
            } else if (kind == QLatin1String("stringMultiOptions")) {
                QJsonArray selected;
                for (int v = 0; v < options; ++v) {
                    if (rng.bounded(2))
                        selected.append(v);
                }
                property.insert(QStringLiteral("selected"), selected);
            } else if (propertyId == QLatin1String("0x1010")) {
                property.insert(QStringLiteral("value"), int(rng.bounded(11)));
            } else if (propertyId == QLatin1String("0x1011")) {
                const int ports[] = { 80, 8080, int(rng.bounded(1, 65536)) };
                property.insert(QStringLiteral("value"), ports[rng.bounded(3)]);
            } else if (kind == QLatin1String("stringList")) {
                QJsonArray list;
                for (const QString& receiver : receivers) {
                    if (rng.bounded(3) == 0)
                        list.append(receiver);
                }
                property.insert(QStringLiteral("value"), list);
            }
            properties.append(property);
        }
        node.insert(QStringLiteral("properties"), properties);

        const QJsonArray events = [&] {
            for (const QJsonValue& value : properties) {
                if (value.toObject().value(QStringLiteral("id")).toString() == QLatin1String("0x5001"))
                    return value.toObject().value(QStringLiteral("values")).toArray();
            }
            return QJsonArray();
        }();
        node.insert(QStringLiteral("enabledEvents"), subset(events));
        node.insert(QStringLiteral("configurableEvents"), subset(events));

        const bool lensCorrected = rng.bounded(5) == 0;
        if (lensCorrected) {
            node.insert(QStringLiteral("deskew"),
                QJsonObject { { QStringLiteral("lensCorrection"), true },
                    { QStringLiteral("lensStrength"), -80 } });
        }
        const auto shape = [&] {
            const int left = rng.bounded(width - 2);
            const int top = rng.bounded(height - 2);
            const int right = rng.bounded(left + 1, width);
            const int bottom = rng.bounded(top + 1, height);
            QJsonObject window;
            if (lensCorrected) {
                window.insert(QStringLiteral("polygon"),
                    QJsonArray { QJsonArray { left, top }, QJsonArray { right, top },
                        QJsonArray { (left + right) / 2, bottom } });
            } else {
                window.insert(QStringLiteral("rect"), QJsonArray { left, top, right, bottom });
            }
            return window;
        };
        QJsonArray exposure;
        for (int w = rng.bounded(4); w > 0; --w) {
            QJsonObject window = shape();
            window.insert(QStringLiteral("excluded"), bool(rng.bounded(2)));
            exposure.append(window);
        }
        node.insert(QStringLiteral("exposureWindows"), exposure);
        QJsonArray motion;
        for (int w = rng.bounded(4); w > 0; --w) {
            QJsonObject window = shape();
            const int low = rng.bounded(101);
            window.insert(QStringLiteral("set"), int(rng.bounded(1, 3)));
            window.insert(QStringLiteral("reference"), bool(rng.bounded(2)));
            window.insert(QStringLiteral("sensitivity"), int(rng.bounded(101)));
            window.insert(QStringLiteral("minThreshold"), low);
            window.insert(QStringLiteral("maxThreshold"), int(rng.bounded(low, 101)));
            motion.append(window);
        }
        node.insert(QStringLiteral("motionWindows"), motion);
        nodes.append(node);
    }
    return QJsonDocument(QJsonObject { { QStringLiteral("nodes"), nodes } }).toJson();
}

// ---------------------------------------------------------------------------
// What the checks compare

// A node-database document as camera objects by identifier, each with its
// properties by identifier under "properties".
inline QMap<QString, QJsonObject> camerasOf(const QByteArray& json)
{
    QMap<QString, QJsonObject> cameras;
    const QJsonArray nodes = QJsonDocument::fromJson(json).object().value(QStringLiteral("nodes")).toArray();
    for (const QJsonValue& value : nodes) {
        QJsonObject camera = value.toObject();
        QJsonObject properties;
        for (const QJsonValue& property : camera.value(QStringLiteral("properties")).toArray())
            properties.insert(property.toObject().value(QStringLiteral("id")).toString(), property);
        camera.insert(QStringLiteral("properties"), properties);
        cameras.insert(camera.value(QStringLiteral("id")).toString(), camera);
    }
    return cameras;
}

inline QString compact(const QJsonValue& value)
{
    if (value.isObject())
        return QString::fromUtf8(QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact));
    if (value.isArray())
        return QString::fromUtf8(QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact));
    return value.toVariant().toString();
}

// The same document in the database's own form (as it writes it after
// loading); empty when it does not load.
inline QByteArray normalized(const QByteArray& json)
{
    kq::NodeDB scratch;
    return scratch.loadJson(json) ? scratch.toJson() : QByteArray();
}

// What every widget of the dialog shows, one line each: the dialog state a
// user can see (texts, check states, what is enabled, the windows in image
// coordinates, the alarm receivers with their committed values).
inline QString widgetState(const demo::CameraSettingsDialog* dialog)
{
    QStringList lines;
    QList<QWidget*> widgets = dialog->findChildren<QWidget*>();
    std::sort(widgets.begin(), widgets.end(),
        [](const QWidget* a, const QWidget* b) { return a->objectName() < b->objectName(); });
    for (const QWidget* w : qAsConst(widgets)) {
        // The dialog's own widgets; Qt's inner ones (named "qt_..." or with a
        // capital, like the tab bar's scroll buttons) follow the geometry of a
        // window on screen, which a fresh dialog does not have.
        const QString name = w->objectName();
        if (name.isEmpty() || name.startsWith(QLatin1String("qt_")) || name.at(0).isUpper())
            continue;
        QString line = QStringLiteral("%1 %2").arg(name, w->isEnabled() ? QStringLiteral("on") : QStringLiteral("off"));
        if (auto* edit = qobject_cast<const QLineEdit*>(w))
            line += QStringLiteral(" [%1]").arg(edit->text());
        else if (auto* box = qobject_cast<const QCheckBox*>(w))
            line += QStringLiteral(" %1").arg(int(box->checkState()));
        else if (auto* radio = qobject_cast<const QRadioButton*>(w))
            line += QStringLiteral(" %1").arg(radio->isChecked());
        else if (auto* combo = qobject_cast<const QComboBox*>(w))
            line += QStringLiteral(" %1/%2 [%3]").arg(combo->currentIndex()).arg(combo->count()).arg(combo->currentText());
        else if (auto* spin = qobject_cast<const QSpinBox*>(w))
            line += QStringLiteral(" [%1] %2..%3").arg(spin->text()).arg(spin->minimum()).arg(spin->maximum());
        else if (auto* label = qobject_cast<const QLabel*>(w))
            line += QStringLiteral(" [%1]").arg(label->text());
        else if (auto* button = qobject_cast<const QPushButton*>(w))
            line += QStringLiteral(" [%1]").arg(button->text());
        lines << line;
        if (auto* list = qobject_cast<const QListWidget*>(w)) {
            for (int i = 0; i < list->count(); ++i) {
                const QListWidgetItem* item = list->item(i);
                lines << QStringLiteral("  [%1] %2 %3 %4%5")
                             .arg(item->text())
                             .arg(int(item->checkState()))
                             .arg(int(item->flags()))
                             .arg(item->font().bold() ? QStringLiteral("b") : QString())
                             .arg(item->font().italic() ? QStringLiteral("i") : QString());
            }
        } else if (auto* tree = qobject_cast<const QTreeWidget*>(w)) {
            for (int i = 0; i < tree->topLevelItemCount(); ++i) {
                const QTreeWidgetItem* item = tree->topLevelItem(i);
                lines << QStringLiteral("  [%1]:[%2] (%3:%4) %5 %6")
                             .arg(item->text(0), item->text(1), item->data(0, Qt::UserRole).toString(),
                                 item->data(1, Qt::UserRole).toString())
                             .arg(int(item->checkState(0)))
                             .arg(item->data(1, Qt::ToolTipRole).toString());
            }
        } else if (auto* pane = qobject_cast<const kqgui::NodeWindowPane*>(w)) {
            const auto* exposure = qobject_cast<const kqgui::ExposureWindowPane*>(pane);
            const auto* motion = qobject_cast<const kqgui::VideoMotionWindowPane*>(pane);
            for (int i = 0; i < pane->count(); ++i) {
                QString window;
                QDebug(&window).nospace() << pane->applicationRectAt(i)->applicationRect;
                if (const kqgui::ApplicationPolygon* polygon = pane->applicationPolygonAt(i))
                    QDebug(&window).nospace() << polygon->applicationPolygon;
                if (exposure)
                    window += QStringLiteral(" excluded %1").arg(exposure->isExcluded(i));
                if (motion) {
                    window += QStringLiteral(" set %1 ref %2 sens %3 thr %4..%5")
                                  .arg(int(motion->vmSet(i)))
                                  .arg(motion->isReference(i))
                                  .arg(motion->sensitivity(i))
                                  .arg(motion->threshold(i))
                                  .arg(motion->maxThreshold(i));
                }
                lines << QStringLiteral("  %1").arg(window);
            }
        }
    }
    return lines.join(QLatin1Char('\n'));
}

// The first line where two widget states differ, for a failure message.
inline QString firstDifference(const QString& expected, const QString& actual)
{
    const QStringList a = expected.split(QLatin1Char('\n'));
    const QStringList b = actual.split(QLatin1Char('\n'));
    for (int i = 0; i < qMax(a.size(), b.size()); ++i) {
        if (a.value(i) != b.value(i))
            return QStringLiteral("expected \"%1\", shown \"%2\"").arg(a.value(i), b.value(i));
    }
    return QString();
}

// ---------------------------------------------------------------------------
// The session: the main window over the generated cameras, and the steps

class Session {
public:
    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session()
    {
        m_window.reset();
        kq::NodeDB::getDB()->clear();
    }

    // Writes the generated cameras into dir, loads them and shows the main
    // window; an error message when that fails.
    QString open(const Script& script, const QString& dir)
    {
        m_window.reset();
        m_cameraFile = dir + QStringLiteral("/cameras.json");
        m_brokenFile = dir + QStringLiteral("/broken.json");
        const QByteArray cameras = generateCameras(script.seed, script.cameras);
        QFile file(m_cameraFile);
        if (cameras.isEmpty() || !file.open(QIODevice::WriteOnly | QIODevice::Truncate)
            || file.write(cameras) != cameras.size())
            return QStringLiteral("cannot write the cameras to %1").arg(m_cameraFile);
        file.close();
        QFile broken(m_brokenFile);
        if (!broken.open(QIODevice::WriteOnly | QIODevice::Truncate)
            || broken.write(cameras.left(cameras.size() / 2)) < 0)
            return QStringLiteral("cannot write %1").arg(m_brokenFile);
        broken.close();

        demo::CameraDocument document;
        QString error;
        if (!document.load(m_cameraFile, &error))
            return error;
        if (!demotest::showMainWindow(m_window, document))
            return QStringLiteral("the main window was not exposed");
        settle();
        m_model = kq::NodeDB::getDB()->toJson();
        m_touched.clear();
        return check(false);
    }

    // Performs the step with mouse and key events and checks the invariants;
    // the failure, or empty.
    QString perform(const Step& step)
    {
        const bool hadChanges = settings()->hasChanges();
        const QStringList shown = settings()->cameras();
        const QSet<QString> touched = m_touched + touchedBy(step);
        {
            // Whatever box comes up is answered: the question with the
            // step's answer, a warning (which has no such button) rejected.
            kqtest::ModalBoxAnswerer answerer(answerOf(step));
            if (QString failure = act(step); !failure.isEmpty())
                return failure;
            settle();
            if (answerer.count > 0)
                ++m_counts[answerer.buttons.testFlag(QMessageBox::Discard) ? QStringLiteral("questions answered")
                                                                           : QStringLiteral("warnings closed")];
        }
        m_touched = touched;

        const QByteArray now = kq::NodeDB::getDB()->toJson();
        const QString verb = step.verb();
        bool applied = false;
        if (verb == QLatin1String("open") && !(hadChanges && step.word(2) == QLatin1String("cancel"))) {
            // Opening reads the file whatever was applied just before; a
            // broken one keeps the cameras (applied or not).
            if (step.word(1) == QLatin1String("valid")) {
                if (now != normalized(readFile(m_cameraFile)))
                    return QStringLiteral("opening %1 did not load exactly it").arg(m_cameraFile);
                applied = true;
            } else if (now != m_model) {
                if (QString failure = checkApplied(now, shown, touched); !failure.isEmpty())
                    return failure;
                applied = true;
            }
        } else if (now != m_model) {
            const bool mayApply = verb == QLatin1String("apply") || verb == QLatin1String("save")
                || ((verb == QLatin1String("select") || verb == QLatin1String("selectall"))
                    && answerOf(step) == QMessageBox::Apply);
            if (!mayApply)
                return QStringLiteral("the cameras changed without Apply: %1").arg(describeChange(now));
            if (QString failure = checkApplied(now, shown, touched); !failure.isEmpty())
                return failure;
            applied = true;
        }
        if (applied)
            ++m_counts[QStringLiteral("documents changed by Apply or Open")];
        if (applied || verb == QLatin1String("apply") || verb == QLatin1String("save")) {
            m_model = now;
            if (QString failure = checkStoredWindows(); !failure.isEmpty())
                return failure;
            if (!settings()->hasChanges()) {
                // Apply again with nothing changed: nothing may change.
                settings()->apply();
                settle();
                if (kq::NodeDB::getDB()->toJson() != m_model)
                    return QStringLiteral("Apply without changes changed the cameras: %1")
                        .arg(describeChange(kq::NodeDB::getDB()->toJson()));
            }
        }
        if (verb == QLatin1String("save")) {
            const QByteArray saved = normalized(readFile(m_cameraFile));
            if (saved != m_model)
                return QStringLiteral("the saved file does not load back equal to the cameras");
        }
        if (!settings()->hasChanges())
            m_touched.clear();
        // The dialog reads the cameras again when it applies or reverts its
        // changes, shows other cameras, or opens a file.
        const bool settled = hadChanges && answerOf(step) != QMessageBox::Cancel;
        bool reloaded = settings()->cameras() != shown;
        if (verb == QLatin1String("apply") || verb == QLatin1String("revert"))
            reloaded = reloaded || hadChanges;
        else if (verb == QLatin1String("save"))
            reloaded = true;
        else if (verb == QLatin1String("select") || verb == QLatin1String("selectall"))
            reloaded = reloaded || (settled && settings()->cameras() != shown);
        else if (verb == QLatin1String("open"))
            reloaded = reloaded || settled || (!hadChanges && step.word(1) == QLatin1String("valid"));
        if (reloaded && settings()->hasChanges())
            return QStringLiteral("the dialog has changes right after it read the cameras again");
        return check(reloaded);
    }

    // What the session went through: how often a question was answered, a
    // warning closed, the cameras changed, a load compared; and the most
    // cameras shown at once and windows in a pane.
    QString summary() const
    {
        QStringList parts;
        for (auto it = m_counts.cbegin(); it != m_counts.cend(); ++it)
            parts << QStringLiteral("%1 %2").arg(it.value()).arg(it.key());
        return parts.join(QStringLiteral(", "));
    }

    // A random step for the state the window is in.
    Step randomStep(QRandomGenerator& rng) const
    {
        const auto pick = [&rng](const QStringList& pool) { return pool.at(rng.bounded(pool.size())); };
        const auto n = [&rng](int from, int to) { return QString::number(rng.bounded(from, to + 1)); };
        const QString answer = pick({ QStringLiteral("apply"), QStringLiteral("apply"), QStringLiteral("discard"),
            QStringLiteral("discard"), QStringLiteral("cancel") });
        const QString pane = pick({ QStringLiteral("exposurePane"), QStringLiteral("motionPane") });
        const int cameras = m_window->cameraList()->count();
        // Weighted choice of the kind of step.
        static const QVector<QPair<const char*, int>> kinds { { "select", 12 }, { "selectall", 1 }, { "tab", 5 },
            { "typename", 4 }, { "typespin", 7 }, { "key", 6 }, { "click", 10 }, { "event", 4 }, { "draw", 7 },
            { "grab", 9 }, { "pkey", 5 }, { "vertex", 2 }, { "row", 3 }, { "cell", 6 }, { "master", 2 },
            { "apply", 6 }, { "revert", 3 }, { "save", 2 }, { "open", 2 } };
        int total = 0;
        for (const auto& kind : kinds)
            total += kind.second;
        int roll = rng.bounded(total);
        QString kind;
        for (const auto& k : kinds) {
            if (roll < k.second) {
                kind = QLatin1String(k.first);
                break;
            }
            roll -= k.second;
        }

        Step step;
        if (kind == QLatin1String("select")) {
            step.words = QStringList { kind, pick({ QStringLiteral("click"), QStringLiteral("ctrl"), QStringLiteral("shift") }),
                n(0, cameras - 1), answer };
        } else if (kind == QLatin1String("selectall")) {
            step.words = QStringList { kind, answer };
        } else if (kind == QLatin1String("tab")) {
            step.words = QStringList { kind, n(0, settings()->tabs()->count() - 1) };
        } else if (kind == QLatin1String("typename")) {
            step.words = QStringList { QStringLiteral("type"), QStringLiteral("name") };
            step.text = pick({ QStringLiteral("Entrance"), QStringLiteral("Back yard"), QStringLiteral("Door"),
                QString(), QStringLiteral(" "), QStringLiteral("Ünïcødé カメラ"),
                QStringLiteral("a rather long camera name that goes on and on"), QStringLiteral("<Multiple Values>") });
        } else if (kind == QLatin1String("typespin")) {
            step.words = QStringList { QStringLiteral("type"),
                pick({ QStringLiteral("compression"), QStringLiteral("httpPort"), QStringLiteral("keyFrameInterval"),
                    QStringLiteral("sensitivity"), QStringLiteral("minThreshold"), QStringLiteral("maxThreshold") }) };
            step.text = pick({ QStringLiteral("0"), QStringLiteral("5"), QStringLiteral("35"), QStringLiteral("100"),
                QStringLiteral("8080"), QStringLiteral("65535"), QStringLiteral("65536"), QStringLiteral("-5"),
                QStringLiteral("abc"), QString(), QStringLiteral("12a") });
        } else if (kind == QLatin1String("key")) {
            step.words = QStringList { kind,
                pick({ QStringLiteral("mirror"), QStringLiteral("resolution"), QStringLiteral("frameRate"),
                    QStringLiteral("motionSet"), QStringLiteral("compression"), QStringLiteral("httpPort"),
                    QStringLiteral("keyFrameInterval"), QStringLiteral("sensitivity"), QStringLiteral("name") }),
                pick({ QStringLiteral("Up"), QStringLiteral("Down"), QStringLiteral("PgUp"), QStringLiteral("PgDown"),
                    QStringLiteral("Backspace"), QStringLiteral("Ctrl+Z") }) };
        } else if (kind == QLatin1String("click")) {
            step.words = QStringList { kind,
                pick({ QStringLiteral("statusLed"), QStringLiteral("wideDynamicRange"), QStringLiteral("reference"),
                    QStringLiteral("codec-h264"), QStringLiteral("codec-h265"), QStringLiteral("codec-mjpeg"),
                    QStringLiteral("exclude"), QStringLiteral("include"), QStringLiteral("removeExposureWindows"),
                    QStringLiteral("removeMotionWindows"), QStringLiteral("addReceiver"),
                    QStringLiteral("addReceiver"), QStringLiteral("removeReceiver"), QStringLiteral("upReceiver"),
                    QStringLiteral("downReceiver") }) };
        } else if (kind == QLatin1String("event")) {
            step.words = QStringList { kind, n(0, 5) };
        } else if (kind == QLatin1String("draw")) {
            // Starts on the picture, may end off it.
            step.words = QStringList { kind, pane, n(0, 1000), n(0, 1000), n(-300, 1300), n(-300, 1300) };
        } else if (kind == QLatin1String("grab")) {
            step.words = QStringList { kind, pane, n(0, 5),
                pick({ QStringLiteral("move"), QStringLiteral("tl"), QStringLiteral("br"), QStringLiteral("vertex") }),
                n(-700, 700), n(-700, 700) };
        } else if (kind == QLatin1String("pkey")) {
            step.words = QStringList { kind, pane, n(0, 5),
                pick({ QStringLiteral("Delete"), QStringLiteral("Left"), QStringLiteral("Up"), QStringLiteral("Right"),
                    QStringLiteral("Down"), QStringLiteral("Shift+Right"), QStringLiteral("Shift+Up"),
                    QStringLiteral("Shift+Left"), QStringLiteral("Tab"), QStringLiteral("Ctrl+Z"),
                    QStringLiteral("Ctrl+Y") }) };
        } else if (kind == QLatin1String("vertex")) {
            step.words = QStringList { kind, pane, n(0, 5), pick({ QStringLiteral("insert"), QStringLiteral("remove") }) };
        } else if (kind == QLatin1String("row") || kind == QLatin1String("master")) {
            step.words = QStringList { kind, n(0, 6) };
        } else if (kind == QLatin1String("cell")) {
            const int column = rng.bounded(2);
            step.words = QStringList { kind, n(0, 6), QString::number(column) };
            step.text = column == 0
                ? pick({ QStringLiteral("10.9.9.9"), QStringLiteral("192.168.0.20"), QStringLiteral("127.0.0.1"),
                    QStringLiteral("300.1.1.1"), QStringLiteral("1.2.3"), QStringLiteral("abc"), QString(),
                    QStringLiteral("010.0.0.1"), QStringLiteral("::1"), QStringLiteral("255.255.255.255") })
                : pick({ QStringLiteral("80"), QStringLiteral("8000"), QStringLiteral("9000"), QStringLiteral("65534"),
                    QStringLiteral("65535"), QStringLiteral("0"), QStringLiteral("-1"), QStringLiteral("x"), QString(),
                    QStringLiteral("99999") });
        } else if (kind == QLatin1String("open")) {
            step.words = QStringList { kind, pick({ QStringLiteral("valid"), QStringLiteral("broken") }), answer };
        } else {
            step.words = QStringList { kind };
        }
        return step;
    }

private:
    demo::CameraSettingsDialog* settings() const { return m_window->settings(); }

    template <class W = QWidget> W* widget(const QString& name) const { return m_window->findChild<W*>(name); }

    static QByteArray readFile(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    // Lets the dialog see every pending change (a check queued by the first
    // pass runs in the second) and frees what was deleted later.
    static void settle()
    {
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    static QMessageBox::StandardButton answerOf(const Step& step)
    {
        const QString answer = step.words.isEmpty() ? QString() : step.words.last();
        if (answer == QLatin1String("apply"))
            return QMessageBox::Apply;
        if (answer == QLatin1String("discard"))
            return QMessageBox::Discard;
        if (answer == QLatin1String("cancel"))
            return QMessageBox::Cancel;
        return QMessageBox::Ok;
    }

    // What an Apply may write after the step: the setting a widget edits,
    // or the stored windows of a pane.
    static QSet<QString> touchedBy(const Step& step)
    {
        static const QMap<QString, QString> keys {
            { QStringLiteral("name"), QStringLiteral("0x1001") },
            { QStringLiteral("statusLed"), QStringLiteral("0x2001") },
            { QStringLiteral("mirror"), QStringLiteral("0x2002") },
            { QStringLiteral("wideDynamicRange"), QStringLiteral("0x3001") },
            { QStringLiteral("resolution"), QStringLiteral("0x3002") },
            { QStringLiteral("codec-h264"), QStringLiteral("0x3003") },
            { QStringLiteral("codec-h265"), QStringLiteral("0x3003") },
            { QStringLiteral("codec-mjpeg"), QStringLiteral("0x3003") },
            { QStringLiteral("frameRate"), QStringLiteral("0x4001") },
            { QStringLiteral("compression"), QStringLiteral("0x1010") },
            { QStringLiteral("httpPort"), QStringLiteral("0x1011") },
            { QStringLiteral("keyFrameInterval"), QStringLiteral("0x4101") },
            { QStringLiteral("events"), QStringLiteral("0x5001") },
            { QStringLiteral("receivers"), QStringLiteral("0x6001") },
            { QStringLiteral("addReceiver"), QStringLiteral("0x6001") },
            { QStringLiteral("removeReceiver"), QStringLiteral("0x6001") },
            { QStringLiteral("upReceiver"), QStringLiteral("0x6001") },
            { QStringLiteral("downReceiver"), QStringLiteral("0x6001") },
            { QStringLiteral("exposurePane"), QStringLiteral("exposureWindows") },
            { QStringLiteral("exclude"), QStringLiteral("exposureWindows") },
            { QStringLiteral("include"), QStringLiteral("exposureWindows") },
            { QStringLiteral("removeExposureWindows"), QStringLiteral("exposureWindows") },
            { QStringLiteral("motionPane"), QStringLiteral("motionWindows") },
            { QStringLiteral("removeMotionWindows"), QStringLiteral("motionWindows") },
            { QStringLiteral("sensitivity"), QStringLiteral("motionWindows") },
            { QStringLiteral("minThreshold"), QStringLiteral("motionWindows") },
            { QStringLiteral("maxThreshold"), QStringLiteral("motionWindows") },
            { QStringLiteral("reference"), QStringLiteral("motionWindows") },
            { QStringLiteral("motionSet"), QStringLiteral("motionWindows") },
        };
        const QString verb = step.verb();
        QString target = step.word(1);
        if (verb == QLatin1String("event"))
            target = QStringLiteral("events");
        else if (verb == QLatin1String("row") || verb == QLatin1String("cell") || verb == QLatin1String("master"))
            target = QStringLiteral("receivers");
        const QString key = keys.value(target);
        return key.isEmpty() ? QSet<QString>() : QSet<QString> { key };
    }

    // Which keys a step name stands for.
    static QPair<Qt::Key, Qt::KeyboardModifiers> keyOf(const QString& name)
    {
        static const QMap<QString, Qt::Key> keys { { QStringLiteral("Up"), Qt::Key_Up },
            { QStringLiteral("Down"), Qt::Key_Down }, { QStringLiteral("Left"), Qt::Key_Left },
            { QStringLiteral("Right"), Qt::Key_Right }, { QStringLiteral("PgUp"), Qt::Key_PageUp },
            { QStringLiteral("PgDown"), Qt::Key_PageDown }, { QStringLiteral("Backspace"), Qt::Key_Backspace },
            { QStringLiteral("Delete"), Qt::Key_Delete }, { QStringLiteral("Tab"), Qt::Key_Tab },
            { QStringLiteral("Z"), Qt::Key_Z }, { QStringLiteral("Y"), Qt::Key_Y } };
        Qt::KeyboardModifiers modifiers;
        QString key = name;
        if (key.startsWith(QLatin1String("Shift+"))) {
            modifiers |= Qt::ShiftModifier;
            key = key.mid(6);
        } else if (key.startsWith(QLatin1String("Ctrl+"))) {
            modifiers |= Qt::ControlModifier;
            key = key.mid(5);
        }
        return { keys.value(key, Qt::Key_Space), modifiers };
    }

    // Brings the tab holding w to the front by clicking it, as a user must
    // before using w.
    void reveal(QWidget* w) const
    {
        QTabWidget* tabs = settings()->tabs();
        for (int i = 0; i < tabs->count(); ++i) {
            if (tabs->widget(i)->isAncestorOf(w)) {
                if (tabs->currentIndex() != i)
                    QTest::mouseClick(tabs->tabBar(), Qt::LeftButton, {}, tabs->tabBar()->tabRect(i).center());
                return;
            }
        }
    }

    // Clicks the row of an item view, scrolled into view first.
    static void clickRow(QAbstractItemView* view, const QModelIndex& index, Qt::KeyboardModifiers modifiers = {})
    {
        view->scrollTo(index);
        QTest::mouseClick(view->viewport(), Qt::LeftButton, modifiers, view->visualRect(index).center());
    }

    // Types text as key presses: QTest::keyClicks() takes ASCII only, so
    // other characters come as key events that carry just their text.
    static void typeText(QWidget* w, const QString& text)
    {
        if (text.isEmpty())
            QTest::keyClick(w, Qt::Key_Backspace);
        for (const QChar c : text) {
            if (c.unicode() < 128)
                QTest::keyClick(w, char(c.unicode()));
            else
                QTest::sendKeyEvent(QTest::Click, w, Qt::Key_unknown, QString(c), Qt::NoModifier);
        }
    }

    // Presses at from, moves in steps to `to` and releases there.
    static void drag(QWidget* w, const QPoint& from, const QPoint& to, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::mousePress(w, Qt::LeftButton, modifiers, from);
        for (int i = 1; i <= 3; ++i)
            QTest::mouseMove(w, from + (to - from) * i / 3);
        QTest::mouseRelease(w, Qt::LeftButton, modifiers, to);
    }

    QString act(const Step& step)
    {
        const QString verb = step.verb();
        if (verb == QLatin1String("select") || verb == QLatin1String("selectall")) {
            QListWidget* list = m_window->cameraList();
            if (verb == QLatin1String("selectall")) {
                QTest::keyClick(list, Qt::Key_A, Qt::ControlModifier);
            } else if (list->count() > 0) {
                const QString how = step.word(1);
                const Qt::KeyboardModifiers modifiers = how == QLatin1String("ctrl") ? Qt::ControlModifier
                    : how == QLatin1String("shift")                                  ? Qt::ShiftModifier
                                                                                     : Qt::NoModifier;
                clickRow(list, list->model()->index(step.number(2) % list->count(), 0), modifiers);
            }
        } else if (verb == QLatin1String("tab")) {
            QTabBar* bar = settings()->tabs()->tabBar();
            QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(step.number(1) % bar->count()).center());
        } else if (verb == QLatin1String("type")) {
            QWidget* w = widget(step.word(1));
            if (!w)
                return QStringLiteral("no widget %1").arg(step.word(1));
            reveal(w);
            QTest::mouseClick(w, Qt::LeftButton, {}, QPoint(4, w->height() / 2));
            QTest::keyClick(w, Qt::Key_A, Qt::ControlModifier);
            typeText(w, step.text);
            QTest::keyClick(w, Qt::Key_Return);
        } else if (verb == QLatin1String("key")) {
            QWidget* w = widget(step.word(1));
            if (!w)
                return QStringLiteral("no widget %1").arg(step.word(1));
            reveal(w);
            const auto key = keyOf(step.word(2));
            QTest::keyClick(w, key.first, key.second);
        } else if (verb == QLatin1String("click")) {
            QWidget* w = widget(step.word(1));
            if (!w)
                return QStringLiteral("no widget %1").arg(step.word(1));
            reveal(w);
            if (auto* box = qobject_cast<QCheckBox*>(w))
                demotest::clickCheckBox(box);
            else if (qobject_cast<QRadioButton*>(w))
                QTest::mouseClick(w, Qt::LeftButton, {}, QPoint(8, w->height() / 2));
            else
                QTest::mouseClick(w, Qt::LeftButton);
        } else if (verb == QLatin1String("event")) {
            auto* events = widget<QListWidget>(QStringLiteral("events"));
            reveal(events);
            if (events->count() > 0) {
                clickRow(events, events->model()->index(step.number(1) % events->count(), 0));
                QTest::keyClick(events, Qt::Key_Space);
            }
        } else if (verb == QLatin1String("draw") || verb == QLatin1String("grab") || verb == QLatin1String("pkey")
            || verb == QLatin1String("vertex")) {
            actOnPane(step);
        } else if (verb == QLatin1String("row") || verb == QLatin1String("cell") || verb == QLatin1String("master")) {
            actOnReceivers(step);
        } else if (verb == QLatin1String("apply") || verb == QLatin1String("revert")) {
            QTest::mouseClick(widget(verb), Qt::LeftButton);
        } else if (verb == QLatin1String("save")) {
            QTest::mouseClick(widget(QStringLiteral("save")), Qt::LeftButton);
        } else if (verb == QLatin1String("open")) {
            // What File > Open does once the file is chosen.
            m_window->openFile(step.word(1) == QLatin1String("valid") ? m_cameraFile : m_brokenFile);
        } else {
            return QStringLiteral("unknown step \"%1\"").arg(step.line());
        }
        return QString();
    }

    void actOnPane(const Step& step)
    {
        auto* pane = widget<kqgui::NodeWindowPane>(step.word(1));
        if (!pane)
            return;
        reveal(pane);
        QWidget* surface = pane->onScreenDisplay()->widget();
        const auto at = [surface](int x, int y) {
            return QPoint(surface->width() * x / 1000, surface->height() * y / 1000);
        };
        const QString verb = step.verb();
        if (verb == QLatin1String("draw")) {
            drag(surface, at(step.number(2), step.number(3)), at(step.number(4), step.number(5)));
            return;
        }
        const int count = pane->count();
        kq::OnScreenRectControl* window = count > 0 ? pane->childAt(step.number(2) % count) : nullptr;
        auto* polygon = dynamic_cast<kq::OnScreenPolygonControl*>(window);
        const QRect rect = window ? window->rect() : QRect(at(400, 400), at(600, 600));
        if (verb == QLatin1String("grab")) {
            const QString part = step.word(3);
            QPoint from = rect.center();
            if (part == QLatin1String("tl"))
                from = rect.topLeft();
            else if (part == QLatin1String("br"))
                from = rect.bottomRight();
            else if (part == QLatin1String("vertex") && polygon && !polygon->polygon().isEmpty())
                from = polygon->polygon().first();
            drag(surface, from, from + at(step.number(4), step.number(5)));
        } else if (verb == QLatin1String("pkey")) {
            QTest::mouseClick(surface, Qt::LeftButton, {}, rect.center());
            const auto key = keyOf(step.word(3));
            QTest::keyClick(surface, key.first, key.second);
        } else if (verb == QLatin1String("vertex") && polygon && polygon->polygon().size() >= 2) {
            const QPolygon points = polygon->polygon();
            if (step.word(3) == QLatin1String("insert"))
                QTest::mouseDClick(surface, Qt::LeftButton, {}, (points.at(0) + points.at(1)) / 2);
            else
                QTest::mouseClick(surface, Qt::RightButton, {}, points.at(0));
        }
    }

    void actOnReceivers(const Step& step)
    {
        auto* tree = widget<kqgui::IpPortTreeWidget>(QStringLiteral("receivers"));
        reveal(tree);
        const int rows = tree->topLevelItemCount();
        if (rows == 0)
            return;
        const int row = step.number(1) % rows;
        const QString verb = step.verb();
        if (verb == QLatin1String("row")) {
            clickRow(tree, tree->model()->index(row, 0));
        } else if (verb == QLatin1String("cell")) {
            // A double click on a cell opens its editor.
            const QModelIndex index = tree->model()->index(row, step.number(2) % 2);
            clickRow(tree, index);
            QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {}, tree->visualRect(index).center());
            auto* editor = qobject_cast<QLineEdit*>(QApplication::focusWidget());
            if (!editor || !tree->isAncestorOf(editor))
                return;
            QTest::keyClick(editor, Qt::Key_A, Qt::ControlModifier);
            typeText(editor, step.text);
            QTest::keyClick(editor, Qt::Key_Return);
        } else {
            demotest::chooseMasterRow(tree, tree->topLevelItem(row));
        }
    }

    // How the database differs from the record, in a line.
    QString describeChange(const QByteArray& now) const
    {
        const QMap<QString, QJsonObject> before = camerasOf(m_model);
        const QMap<QString, QJsonObject> after = camerasOf(now);
        for (const QString& id : after.keys()) {
            const QJsonObject a = before.value(id);
            const QJsonObject b = after.value(id);
            for (const QString& key : b.keys()) {
                if (a.value(key) == b.value(key))
                    continue;
                if (key == QLatin1String("properties")) {
                    const QJsonObject pa = a.value(key).toObject();
                    const QJsonObject pb = b.value(key).toObject();
                    for (const QString& p : pb.keys()) {
                        if (pa.value(p) != pb.value(p))
                            return QStringLiteral("%1 property %2 was %3, is %4")
                                .arg(id, p, compact(pa.value(p)), compact(pb.value(p)));
                    }
                }
                return QStringLiteral("%1 %2 was %3, is %4").arg(id, key, compact(a.value(key)), compact(b.value(key)));
            }
        }
        return QStringLiteral("the cameras %1 became %2").arg(before.keys().join(QLatin1Char(',')),
            after.keys().join(QLatin1Char(',')));
    }

    // An Apply over the cameras `shown` changed the database to `now`: only
    // the touched settings of those cameras and the touched windows of the
    // first may differ from the record.
    QString checkApplied(const QByteArray& now, const QStringList& shown, const QSet<QString>& touched) const
    {
        const QMap<QString, QJsonObject> before = camerasOf(m_model);
        const QMap<QString, QJsonObject> after = camerasOf(now);
        if (before.keys() != after.keys())
            return QStringLiteral("Apply changed the cameras: %1").arg(describeChange(now));
        for (const QString& id : after.keys()) {
            const QJsonObject a = before.value(id);
            const QJsonObject b = after.value(id);
            QSet<QString> keys;
            for (const QString& key : a.keys() + b.keys())
                keys.insert(key);
            for (const QString& key : qAsConst(keys)) {
                if (key == QLatin1String("properties")) {
                    const QJsonObject pa = a.value(key).toObject();
                    const QJsonObject pb = b.value(key).toObject();
                    for (const QString& p : pa.keys() + pb.keys()) {
                        if (pa.value(p) == pb.value(p))
                            continue;
                        if (!(shown.contains(id) && touched.contains(p)))
                            return QStringLiteral("Apply changed %1 property %2 that was not edited: was %3, is %4")
                                .arg(id, p, compact(pa.value(p)), compact(pb.value(p)));
                        // An edit writes the value (or the choice), never the
                        // choices offered or the bounds.
                        QJsonObject was = pa.value(p).toObject();
                        QJsonObject is = pb.value(p).toObject();
                        for (const char* field : { "value", "selected" }) {
                            was.remove(QLatin1String(field));
                            is.remove(QLatin1String(field));
                        }
                        if (was != is)
                            return QStringLiteral("Apply changed more than the value of %1 property %2: was %3, is %4")
                                .arg(id, p, compact(pa.value(p)), compact(pb.value(p)));
                    }
                } else if (a.value(key) != b.value(key) && !(id == shown.value(0) && touched.contains(key))) {
                    return QStringLiteral("Apply changed %1 %2 that was not edited: was %3, is %4")
                        .arg(id, key, compact(a.value(key)), compact(b.value(key)));
                }
            }
        }
        return QString();
    }

    // Every stored window of every camera is well formed: finite
    // coordinates, a rectangle's left and top at most its right and bottom, a
    // polygon of three points or more. (Where a window may lie is the panes'
    // to say: a window drawn over a letterboxed picture may reach into the
    // letterbox, and the image reading of the picture's edge pixels may lie
    // a fraction outside the image; the panes' check below covers that.)
    QString checkStoredWindows() const
    {
        const QMap<QString, QJsonObject> cameras = camerasOf(m_model);
        for (const QJsonObject& camera : cameras) {
            for (const char* key : { "exposureWindows", "motionWindows" }) {
                for (const QJsonValue& value : camera.value(QLatin1String(key)).toArray()) {
                    const QJsonObject window = value.toObject();
                    bool wellFormed = true;
                    if (window.contains(QStringLiteral("rect"))) {
                        const QJsonArray r = window.value(QStringLiteral("rect")).toArray();
                        for (const QJsonValue& v : r)
                            wellFormed = wellFormed && v.isDouble() && std::isfinite(v.toDouble());
                        wellFormed = wellFormed && r.size() == 4 && r.at(0).toDouble() <= r.at(2).toDouble()
                            && r.at(1).toDouble() <= r.at(3).toDouble();
                    } else {
                        const QJsonArray polygon = window.value(QStringLiteral("polygon")).toArray();
                        wellFormed = polygon.size() >= 3;
                        for (const QJsonValue& point : polygon) {
                            const QJsonArray xy = point.toArray();
                            wellFormed = wellFormed && xy.size() == 2 && std::isfinite(xy.at(0).toDouble())
                                && std::isfinite(xy.at(1).toDouble());
                        }
                    }
                    if (!wellFormed)
                        return QStringLiteral("%1 has a malformed window: %2")
                            .arg(camera.value(QStringLiteral("id")).toString(), compact(window));
                }
            }
        }
        return QString();
    }

    // The invariants that hold after every step; `loaded`: the step left the
    // dialog freshly loaded from the cameras.
    QString check(bool loaded) const
    {
        demo::CameraSettingsDialog* dialog = settings();
        int& most = m_counts[QStringLiteral("cameras shown at most")];
        most = qMax(most, int(dialog->cameras().size()));
        int& windows = m_counts[QStringLiteral("windows in a pane at most")];
        for (const char* name : { "exposurePane", "motionPane" })
            windows = qMax(windows, widget<kqgui::NodeWindowPane>(QLatin1String(name))->count());
        if (m_window->selectedCameras() != dialog->cameras())
            return QStringLiteral("the list selects %1 but the dialog shows %2")
                .arg(m_window->selectedCameras().join(QLatin1Char(',')), dialog->cameras().join(QLatin1Char(',')));
        const bool changes = dialog->hasChanges();
        if (widget<QPushButton>(QStringLiteral("apply"))->isEnabled() != changes
            || widget<QPushButton>(QStringLiteral("revert"))->isEnabled() != changes)
            return QStringLiteral("Apply/Revert enabled %1/%2 while the dialog has changes: %3")
                .arg(widget<QPushButton>(QStringLiteral("apply"))->isEnabled())
                .arg(widget<QPushButton>(QStringLiteral("revert"))->isEnabled())
                .arg(changes);
        if (m_window->isWindowModified() != changes)
            return QStringLiteral("the title's \"*\" is %1 while the dialog has changes: %2")
                .arg(m_window->isWindowModified())
                .arg(changes);
        if (kq::NodeDB::getDB()->toJson() != m_model)
            return QStringLiteral("the cameras differ from what was applied");

        // The windows in the panes are well formed: finite image geometry,
        // not inverted. (Where they lie is not checked: a window drawn over a
        // letterboxed picture may reach into the letterbox, and shown later
        // in a pane of another shape it may then reach past the pane; the
        // comparison with a fresh dialog checks that they are what the
        // cameras hold.)
        for (const char* name : { "exposurePane", "motionPane" }) {
            const auto* pane = widget<kqgui::NodeWindowPane>(QLatin1String(name));
            for (int i = 0; i < pane->count(); ++i) {
                const QRectF r = pane->applicationRectAt(i)->applicationRect;
                if (!std::isfinite(r.x()) || !std::isfinite(r.y()) || !std::isfinite(r.width())
                    || !std::isfinite(r.height()) || r.width() < 0 || r.height() < 0) {
                    QString text;
                    QDebug(&text) << r;
                    return QStringLiteral("%1 window %2 is malformed: %3").arg(QLatin1String(name)).arg(i).arg(text);
                }
            }
        }

        // At most one master row; the label shows its committed port.
        const auto* tree = widget<kqgui::IpPortTreeWidget>(QStringLiteral("receivers"));
        int masters = 0;
        const QTreeWidgetItem* marked = nullptr;
        for (int i = 0; i < tree->topLevelItemCount(); ++i) {
            if (!tree->topLevelItem(i)->data(1, Qt::ToolTipRole).toString().isEmpty()) {
                ++masters;
                marked = tree->topLevelItem(i);
            }
        }
        if (masters > 1)
            return QStringLiteral("%1 master rows").arg(masters);
        if (tree->masterRow() != marked)
            return QStringLiteral("the master row is not the marked row");
        const int port = marked ? marked->data(1, Qt::UserRole).toInt() : 0;
        const QString label = widget<QLabel>(QStringLiteral("masterPort"))->text();
        const QString expected = port > 0 ? QStringLiteral("Master port: %1").arg(port) : QStringLiteral("Master port: none");
        if (label != expected)
            return QStringLiteral("the master-port label shows \"%1\", the master row has port %2").arg(label).arg(port);

        if (loaded) {
            ++m_counts[QStringLiteral("loads compared with a fresh dialog")];
            // Exactly what a dialog opened afresh over the same cameras shows.
            demo::CameraSettingsDialog fresh;
            fresh.setCameras(dialog->cameras());
            const QString expectedState = widgetState(&fresh);
            const QString shown = widgetState(dialog);
            if (expectedState != shown)
                return QStringLiteral("after loading, the dialog differs from a fresh one: %1")
                    .arg(firstDifference(expectedState, shown));
        }
        return QString();
    }

    std::unique_ptr<demo::MainWindow> m_window;
    // How often the checks had something to look at, for the summary.
    mutable QMap<QString, int> m_counts;
    QString m_cameraFile;
    QString m_brokenFile;
    // The node database's document as last applied or loaded.
    QByteArray m_model;
    // What the steps since the dialog last loaded may have edited.
    QSet<QString> m_touched;
};

// ---------------------------------------------------------------------------
// Running lists of steps

// Random steps from the script's seed until the limits, appended to the
// script; stops at the first failure.
inline Outcome explore(Script* script, const QString& dir, const Limits& limits)
{
    Outcome outcome;
    Session session;
    outcome.failure = session.open(*script, dir);
    QRandomGenerator rng(script->seed ^ 0x5eedu);
    QFile journal(limits.journal);
    if (!limits.journal.isEmpty() && journal.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        journal.write(script->toText().toUtf8());
    QElapsedTimer clock;
    clock.start();
    qint64 reported = 0;
    while (outcome.failure.isEmpty() && (limits.actions < 0 || outcome.actions < limits.actions)
        && (limits.milliseconds < 0 || clock.elapsed() < limits.milliseconds)) {
        const Step step = session.randomStep(rng);
        script->steps.append(step);
        if (journal.isOpen()) {
            journal.write((step.line() + QLatin1Char('\n')).toUtf8());
            journal.flush();
        }
        outcome.failure = session.perform(step);
        ++outcome.actions;
        if (limits.progress && clock.elapsed() - reported >= 10000) {
            reported = clock.elapsed();
            limits.progress(QStringLiteral("soak: %1 actions, %2 actions/s")
                                .arg(outcome.actions)
                                .arg(outcome.actions * 1000.0 / reported, 0, 'f', 1));
        }
    }
    if (limits.progress)
        limits.progress(QStringLiteral("soak: %1").arg(session.summary()));
    if (!outcome.failure.isEmpty() && !script->steps.isEmpty())
        outcome.failure = QStringLiteral("step %1 \"%2\": %3")
                              .arg(script->steps.size())
                              .arg(script->steps.last().line(), outcome.failure);
    return outcome;
}

// The script's steps in order, from a fresh session; stops at the first
// failure.
inline Outcome replay(const Script& script, const QString& dir)
{
    Outcome outcome;
    Session session;
    outcome.failure = session.open(script, dir);
    for (const Step& step : script.steps) {
        if (!outcome.failure.isEmpty())
            break;
        outcome.failure = session.perform(step);
        ++outcome.actions;
        if (!outcome.failure.isEmpty())
            outcome.failure = QStringLiteral("step %1 \"%2\": %3").arg(outcome.actions).arg(step.line(), outcome.failure);
    }
    return outcome;
}

// Delta debugging: removes chunks of steps (halves first, then ever smaller)
// as long as the rest still fails the same check, and answers the shortest failing script
// found. The failing step ends every candidate, so the list is cut after it
// first.
inline Script shrink(Script script, const QString& dir, const std::function<void(const QString&)>& log)
{
    const Outcome first = replay(script, dir);
    if (first.failure.isEmpty())
        return script;
    // The same failure: the check's message without the step and numbers.
    const auto kindOf = [](const QString& failure) {
        QString kind = failure.mid(failure.indexOf(QLatin1String("\": ")) + 3);
        kind = kind.left(kind.indexOf(QLatin1Char(':')));
        return kind.remove(QRegularExpression(QStringLiteral("[-0-9]+")));
    };
    const QString kind = kindOf(first.failure);
    script.steps.resize(int(first.actions));
    int chunks = 2;
    while (script.steps.size() >= 2) {
        const int size = int(script.steps.size());
        const int chunk = (size + chunks - 1) / chunks;
        bool removed = false;
        for (int start = 0; start < size && !removed; start += chunk) {
            Script candidate = script;
            candidate.steps.remove(start, qMin(chunk, size - start));
            const Outcome outcome = replay(candidate, dir);
            if (!outcome.failure.isEmpty() && kindOf(outcome.failure) == kind) {
                candidate.steps.resize(int(outcome.actions));
                script = candidate;
                removed = true;
                if (log)
                    log(QStringLiteral("soak: shrink: %1 actions still fail").arg(script.steps.size()));
            }
        }
        if (removed)
            chunks = qMax(chunks - 1, 2);
        else if (chunk == 1)
            break;
        else
            chunks = qMin(chunks * 2, int(script.steps.size()));
    }
    return script;
}

} // namespace soak

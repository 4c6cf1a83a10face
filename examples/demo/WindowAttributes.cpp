#include "WindowAttributes.h"

#include <ConfigDialogs/ExposureWindowPane.h>
#include <ConfigDialogs/VideoMotionWindowPane.h>
#include <kq/Log.h>

#include <QPolygon>
#include <QRect>
#include <QVariantMap>

#include <limits>

namespace demo {

namespace {

    const QLatin1String kRect("rect");
    const QLatin1String kPolygon("polygon");
    const QLatin1String kExcluded("excluded");
    const QLatin1String kSet("set");
    const QLatin1String kReference("reference");
    const QLatin1String kSensitivity("sensitivity");
    const QLatin1String kMinThreshold("minThreshold");
    const QLatin1String kMaxThreshold("maxThreshold");

    // What a window drawn on its own gets (see VideoMotionWindowPane).
    const int kDefaultSensitivity = 20;
    const int kDefaultMinThreshold = 25;
    const int kDefaultMaxThreshold = 100;

    bool toInt(const QVariant& v, int* out)
    {
        bool ok = false;
        const double d = v.toDouble(&ok);
        // Outside the int range (or NaN, which a text such as "nan" gives)
        // the conversion below would be undefined.
        if (!ok || !(d >= std::numeric_limits<int>::min() && d <= std::numeric_limits<int>::max()) || d != int(d))
            return false;
        *out = int(d);
        return true;
    }

    bool readRect(const QVariant& v, QRect* out)
    {
        const QVariantList list = v.toList();
        int n[4];
        if (list.size() != 4)
            return false;
        for (int i = 0; i < 4; ++i) {
            if (!toInt(list.at(i), &n[i]))
                return false;
        }
        *out = QRect(QPoint(n[0], n[1]), QPoint(n[2], n[3]));
        return out->isValid();
    }

    bool readPolygon(const QVariant& v, QPolygon* out)
    {
        const QVariantList list = v.toList();
        if (list.size() < 3)
            return false;
        for (const QVariant& point : list) {
            const QVariantList xy = point.toList();
            int x = 0, y = 0;
            if (xy.size() != 2 || !toInt(xy.at(0), &x) || !toInt(xy.at(1), &y))
                return false;
            out->append(QPoint(x, y));
        }
        return true;
    }

    // Adds the window's shape to the pane as its new window 0; false (and a
    // warning) when the entry has no usable shape.
    bool addShape(kqgui::NodeWindowPane* pane, const QVariantMap& window, const QString& camera, int index,
        const char* kind)
    {
        QRect rect;
        QPolygon polygon;
        if (window.contains(kPolygon) && readPolygon(window.value(kPolygon), &polygon)) {
            pane->addPolygon(polygon, QColor(), nullptr);
            return true;
        }
        if (!window.contains(kPolygon) && readRect(window.value(kRect), &rect)) {
            pane->addRect(rect, QColor(), nullptr);
            return true;
        }
        kq::logLine(kq::Log::Warning, "camera ", camera, ": ", kind, " window #", index,
            " has no valid \"rect\" or \"polygon\"; it is not shown");
        return false;
    }

    QVariantMap shapeOf(kqgui::NodeWindowPane* pane, int i)
    {
        QVariantMap window;
        if (pane->isPoly(i)) {
            QVariantList points;
            for (const QPoint& p : pane->polyControlAt(i)->applPolygon())
                points.append(QVariant(QVariantList { p.x(), p.y() }));
            if (points.size() >= 3)
                window.insert(kPolygon, points);
        } else {
            const QRect r = pane->rectControlAt(i)->applRect();
            if (r.isValid())
                window.insert(kRect, QVariantList { r.left(), r.top(), r.right(), r.bottom() });
        }
        return window;
    }

    // Windows are added newest first, so adding the stored ones from the last
    // to the first leaves them in their stored order.
    template <class Pane, class Settings>
    void loadWindows(Pane* pane, const QVariantList& windows, const QString& camera, const char* kind,
        Settings applySettings)
    {
        pane->removeAll();
        for (int i = windows.size() - 1; i >= 0; --i) {
            const QVariantMap window = windows.at(i).toMap();
            if (addShape(pane, window, camera, i, kind))
                applySettings(window);
        }
    }

    template <class Pane, class Settings> QVariantList storedWindows(Pane* pane, Settings settingsOf)
    {
        QVariantList windows;
        for (int i = 0; i < pane->count(); ++i) {
            QVariantMap window = shapeOf(pane, i);
            if (window.isEmpty())
                continue;
            settingsOf(i, &window);
            windows.append(window);
        }
        return windows;
    }

    int intOr(const QVariantMap& window, const QString& key, int fallback)
    {
        int n = fallback;
        return window.contains(key) && toInt(window.value(key), &n) ? n : fallback;
    }

} // namespace

void loadExposureWindows(kqgui::ExposureWindowPane* pane, const QVariantList& windows, const QString& camera)
{
    loadWindows(pane, windows, camera, "exposure",
        [pane](const QVariantMap& window) { pane->setExcluded(0, window.value(kExcluded).toBool()); });
}

void loadMotionWindows(kqgui::VideoMotionWindowPane* pane, const QVariantList& windows, const QString& camera)
{
    loadWindows(pane, windows, camera, "motion", [pane](const QVariantMap& window) {
        pane->setThreshold(0, intOr(window, kMinThreshold, kDefaultMinThreshold),
            intOr(window, kMaxThreshold, kDefaultMaxThreshold));
        pane->setSensitivity(0, intOr(window, kSensitivity, kDefaultSensitivity));
        pane->setReference(0, window.value(kReference).toBool());
        pane->setVMSet(0, intOr(window, kSet, kq::VMS_Set1) == kq::VMS_Set2 ? kq::VMS_Set2 : kq::VMS_Set1);
    });
}

QVariantList exposureWindows(kqgui::ExposureWindowPane* pane)
{
    return storedWindows(
        pane, [pane](int i, QVariantMap* window) { window->insert(kExcluded, pane->isExcluded(i)); });
}

QVariantList motionWindows(kqgui::VideoMotionWindowPane* pane)
{
    return storedWindows(pane, [pane](int i, QVariantMap* window) {
        window->insert(kSet, int(pane->vmSet(i)));
        window->insert(kReference, pane->isReference(i));
        window->insert(kSensitivity, pane->sensitivity(i));
        window->insert(kMinThreshold, pane->threshold(i));
        window->insert(kMaxThreshold, pane->maxThreshold(i));
    });
}

} // namespace demo

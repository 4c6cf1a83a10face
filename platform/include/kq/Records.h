// Value records of the property model. The library copies them inside
// property infos and reads only the few fields the window panes need
// (a window's rectangle, an exposure window's excluded flag).
#pragma once

#include <kq/kqplatform_export.h>

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QPoint>
#include <QRect>
#include <QString>
#include <QVariant>
#include <QVector>

namespace kq {

// A set of named settings, copied as a whole.
class KQPLATFORM_EXPORT PropertyMap {
public:
    PropertyMap() = default;
    PropertyMap(const PropertyMap&) = default;
    PropertyMap& operator=(const PropertyMap&) = default;
    virtual ~PropertyMap();

    bool operator==(const PropertyMap& other) const { return entries == other.entries; }

    QMap<QString, QVariant> entries;
};

class KQPLATFORM_EXPORT ConfigSet : public PropertyMap {
public:
    QString name;
    QString description;
    qint32 flags = 0;
    QVariant data;
    qint64 created = 0;
    qint64 modified = 0;
};
using ConfigSets = QList<ConfigSet>;

// A window over a camera's image: a rectangle (left, top, right, bottom, all
// inclusive as in QRect), an outline and free-form tags.
class KQPLATFORM_EXPORT BaseDefWindow {
public:
    BaseDefWindow() = default;
    explicit BaseDefWindow(const QRect& r)
        : left(r.left())
        , top(r.top())
        , right(r.right())
        , bottom(r.bottom())
    {
    }
    virtual ~BaseDefWindow();

    QRect getCoords() const { return QRect(QPoint(left, top), QPoint(right, bottom)); }
    void setCoords(const QRect& r)
    {
        left = r.left();
        top = r.top();
        right = r.right();
        bottom = r.bottom();
    }

    qint32 left = 0;
    qint32 top = 0;
    qint32 right = -1;
    qint32 bottom = -1;
    QVector<QPoint> outline;
    QList<QString> tags;
    QVector<qint32> extra;
};

class KQPLATFORM_EXPORT SubViewWindow : public BaseDefWindow {
public:
    qint32 view = 0;
    QString title;
    qint32 zoom = 0;
    qint64 source = 0;
};

class KQPLATFORM_EXPORT SubViewSet {
public:
    QList<SubViewWindow> windows;
};

// An exposure-measurement window; an excluded window is left out of the
// measurement.
class KQPLATFORM_EXPORT ExposureWindow : public BaseDefWindow {
public:
    ExposureWindow() = default;
    ExposureWindow(const QRect& r, bool isExcluded)
        : BaseDefWindow(r)
        , excluded(isExcluded)
    {
    }
    bool isExcluded() const { return excluded; }

    bool excluded = false;
};

// The motion set a video-motion window belongs to.
enum EVideoMotionSet : int {
    VMS_None = 0,
    VMS_Set1 = 1,
    VMS_Set2 = 2,
};

class KQPLATFORM_EXPORT TimeTableRange {
public:
    QString name;
    qint64 start = 0;
    QList<Qt::DayOfWeek> days;
    QVariant data;
    qint64 duration = 0;
};

class KQPLATFORM_EXPORT TimeTable {
public:
    QString name;
    QList<TimeTableRange> ranges;
};

class KQPLATFORM_EXPORT CustomDay {
public:
    QDate day;
};

// A named profile: its settings and its text.
class KQPLATFORM_EXPORT Profile : public PropertyMap {
public:
    Profile() = default;
    explicit Profile(const QString& t)
        : text(t)
    {
    }
    bool operator==(const Profile& other) const { return PropertyMap::operator==(other) && text == other.text; }

    QString text;
};
using Profiles = QMap<QString, Profile>;

} // namespace kq

// Typed node properties and their meta-information.
//
// A property is one setting of one node. Its info (identifier, names, reboot
// flag) is shared and read-only; the property holds the value. The widget
// binding functions only read and write values; infos are copied through
// clone().
#pragma once

#include <kq/Options.h>
#include <kq/Records.h>
#include <kq/kqplatform_export.h>

#include <QList>
#include <QMap>
#include <QSharedPointer>
#include <QString>
#include <QVector>

#include <functional>

namespace kq {

// Identifier enumerations. The numbering belongs to the model; the library
// passes identifiers through unchanged and stores them as int, so any number
// converts with static_cast.
enum EBoolProperty : int {};
enum ELongProperty : int {};
enum EStringProperty : int {};
enum ELongOptionsProperty : int {};
enum EDoubleOptionsProperty : int {};
enum EStringOptionsProperty : int {
    // Display properties that the window panes keep in step with the
    // camera's deskew settings: the deskew mode text and the view index.
    SOP_DeskewView = 0x7000000,
    SOP_DeskewMode = 0x7000004,
};
enum EStringMultiOptionsProperty : int {};
enum EStringListProperty : int {};
enum EProfilesProperty : int {};
enum EConfigSetsProperty : int {};
enum ESubViewSetProperty : int {};
enum ETimeTableProperty : int {};
enum ECustomDaysProperty : int {};

// Meta-information of one kind of property.
class KQPLATFORM_EXPORT PropertyInfo {
public:
    PropertyInfo(qint32 id, const QString& idName, const QString& name, bool needsReboot);
    virtual ~PropertyInfo();
    virtual PropertyInfo* clone() const;

    const QString& idName() const { return m_idName; }
    const QString& name() const { return m_name; }
    bool needsReboot() const { return m_needsReboot; }

    qint32 id;

protected:
    PropertyInfo(const PropertyInfo&) = default;

private:
    QString m_idName;
    QString m_name;
    bool m_needsReboot;
};

template <class E, class T>
class TPropertyInfo : public PropertyInfo {
public:
    using Identifier = E;
    using ValueType = T;

    TPropertyInfo(qint32 id, const QString& idName, const QString& name, bool needsReboot, const T& v = T())
        : PropertyInfo(id, idName, name, needsReboot)
        , value(v)
    {
    }
    TPropertyInfo* clone() const override
    {
        return new TPropertyInfo(id, idName(), name(), needsReboot(), value);
    }

    T value;
};

// Named infos add nothing but their name; clone() keeps the most-derived type.
#define KQ_NAMED_INFO(Name, E, T)                                                                            \
    class Name : public TPropertyInfo<E, T> {                                                                \
    public:                                                                                                  \
        using TPropertyInfo<E, T>::TPropertyInfo;                                                            \
        Name* clone() const override { return new Name(*this); }                                             \
    }

KQ_NAMED_INFO(ConfigSetsInfo, EConfigSetsProperty, ConfigSets);
KQ_NAMED_INFO(SubViewSetInfo, ESubViewSetProperty, SubViewSet);
KQ_NAMED_INFO(TimeTableInfo, ETimeTableProperty, QList<TimeTable>);
KQ_NAMED_INFO(CustomDaysInfo, ECustomDaysProperty, QList<CustomDay>);
KQ_NAMED_INFO(ProfilesInfo, EProfilesProperty, Profiles);
KQ_NAMED_INFO(BoolInfo, EBoolProperty, bool);
KQ_NAMED_INFO(StringInfo, EStringProperty, QString);

#undef KQ_NAMED_INFO

// An integer property's info, with the permitted bounds.
class LongInfo : public TPropertyInfo<ELongProperty, qint32> {
public:
    LongInfo(qint32 id, const QString& idName, const QString& name, bool needsReboot, qint32 minimum = INT32_MIN,
        qint32 maximum = INT32_MAX)
        : TPropertyInfo(id, idName, name, needsReboot)
        , min(minimum)
        , max(maximum)
    {
    }
    LongInfo* clone() const override { return new LongInfo(*this); }

    qint32 min;
    qint32 max;
};

template <class E, class Option>
class TOptionsInfo : public TPropertyInfo<E, Option> {
public:
    using TPropertyInfo<E, Option>::TPropertyInfo;
    TOptionsInfo* clone() const override { return new TOptionsInfo(*this); }
};

template <class E, class Option>
class TMultiOptionsInfo : public TPropertyInfo<E, Option> {
public:
    using TPropertyInfo<E, Option>::TPropertyInfo;
    TMultiOptionsInfo* clone() const override { return new TMultiOptionsInfo(*this); }
};

// Delimiter policy of list values written as one text.
struct complexDelim {
    static QString delimiter() { return QStringLiteral(";"); }
};

// An ordered list of values; Delim says how the list reads as one text.
template <class T, class Delim>
class TList : public QVector<T> {
public:
    using QVector<T>::QVector;
    TList() = default;
    TList(const QVector<T>& other)
        : QVector<T>(other)
    {
    }
};

template <class E, class List>
class TListInfo : public TPropertyInfo<E, List> {
public:
    using TPropertyInfo<E, List>::TPropertyInfo;
    TListInfo* clone() const override { return new TListInfo(*this); }
};

// One property of one node. The info is shared and not owned.
class KQPLATFORM_EXPORT Property {
public:
    explicit Property(QSharedPointer<const PropertyInfo> info);
    virtual ~Property();
    Property(const Property&) = delete;
    Property& operator=(const Property&) = delete;

    qint32 id() const { return m_info->id; }
    const PropertyInfo* info() const { return m_info.data(); }

    // Whether the property accepts its current value (for an option: the
    // selection lies inside its list; for an integer: inside its bounds).
    virtual bool isValueAccepted() const { return true; }

    // Announces that the value was changed by its holder, so that whoever
    // watches the property (the session, a dialog) learns of it.
    void announceChange();
    quint64 changeCount() const { return m_changeCount; }
    void setChangeHandler(std::function<void(Property*)> handler) { m_changeHandler = std::move(handler); }

private:
    QSharedPointer<const PropertyInfo> m_info;
    quint64 m_changeCount = 0;
    std::function<void(Property*)> m_changeHandler;
};

namespace detail {
    template <class V>
    bool valueAccepted(const V&, const PropertyInfo*)
    {
        return true;
    }
    template <class T>
    bool valueAccepted(const TOptions<T>& v, const PropertyInfo*)
    {
        return v.selectedIndex >= 0 && v.selectedIndex < v.values.size();
    }
    template <class T>
    bool valueAccepted(const TMultiOptions<T>& v, const PropertyInfo*)
    {
        for (int idx : v.selectedIndices) {
            if (idx < 0 || idx >= v.values.size())
                return false;
        }
        return true;
    }
    inline bool valueAccepted(const qint32& v, const PropertyInfo* info)
    {
        const auto* bounds = dynamic_cast<const LongInfo*>(info);
        return !bounds || (v >= bounds->min && v <= bounds->max);
    }
}

template <class Info>
class TProperty : public Property {
public:
    using InfoType = Info;
    using ValueType = typename Info::ValueType;

    explicit TProperty(QSharedPointer<const Info> info, const ValueType& v = ValueType())
        : Property(info)
        , m_value(v)
    {
    }

    const Info* typedInfo() const { return static_cast<const Info*>(info()); }

    const ValueType& value() const { return m_value; }
    ValueType& value() { return m_value; }
    void setValue(const ValueType& v) { m_value = v; }

    bool isValueAccepted() const override { return detail::valueAccepted(m_value, info()); }

private:
    ValueType m_value;
};

using BoolProperty = TProperty<BoolInfo>;
using LongProperty = TProperty<LongInfo>;
using StringProperty = TProperty<StringInfo>;
using LongOptionsProperty = TProperty<TOptionsInfo<ELongOptionsProperty, TOptions<int>>>;
using DoubleOptionsProperty = TProperty<TOptionsInfo<EDoubleOptionsProperty, TOptions<double>>>;
using StringOptionsProperty = TProperty<TOptionsInfo<EStringOptionsProperty, TOptions<QString>>>;
using StringMultiOptionsProperty = TProperty<TMultiOptionsInfo<EStringMultiOptionsProperty, TMultiOptions<QString>>>;
using StringListProperty = TProperty<TListInfo<EStringListProperty, TList<QString, complexDelim>>>;
using ProfilesProperty = TProperty<ProfilesInfo>;

} // namespace kq

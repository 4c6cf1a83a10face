// Reading node-database documents (NodeDB::loadJson): one node at a time,
// checking every value and sharing what repeats from node to node.
#include <kq/NodeDB.h>

#include "JsonOutline_p.h"
#include "NodeDocument_p.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QHash>
#include <QSet>

#include <cmath>
#include <limits>
#include <memory>
#include <tuple>
#include <vector>

namespace kq {

using namespace nodedoc;

namespace {

    // What makes two property infos the same.
    struct InfoKey {
        QString kind;
        qint32 id;
        QString idName;
        QString name;
        bool reboot;
        qint32 min;
        qint32 max;

        bool operator==(const InfoKey& o) const
        {
            return id == o.id && reboot == o.reboot && min == o.min && max == o.max && kind == o.kind
                && idName == o.idName && name == o.name;
        }
    };

    using HashValue = decltype(qHash(QString()));

    HashValue qHash(const InfoKey& key, HashValue seed = 0)
    {
        return ::qHash(key.idName, seed) ^ ::qHash(key.id, seed) ^ ::qHash(key.name, seed) ^ (::qHash(key.kind, seed) << 1);
    }

    // Collects what is wrong with the document; the first problem in
    // document order wins.
    struct Reader {
        QString node;
        // The property being read: its index in the node's list, and its
        // identifier once read (formatted only for a message).
        int propertyIndex = -1;
        bool propertyIdRead = false;
        qint32 propertyId = 0;
        QString error;
        // Texts read so far. Property names, option values and attribute
        // keys repeat from node to node; each distinct text is stored once
        // and shared by every node that holds it.
        QSet<QString> texts;
        // Infos and option lists repeat in the same way (cameras of one model
        // have the same properties, with the same choices): each distinct
        // one is built once and shared by every node that has it. Infos are
        // read-only; option lists are copied on write.
        QHash<InfoKey, QSharedPointer<const PropertyInfo>> infos;
        std::tuple<QSet<QVector<QString>>, QSet<QVector<int>>, QSet<QVector<double>>> lists;

        template <class T>
        static T sharedIn(QSet<T>& set, const T& value)
        {
            const auto it = set.constFind(value);
            if (it != set.constEnd())
                return *it;
            set.insert(value);
            return value;
        }
        QString shared(const QString& text) { return sharedIn(texts, text); }
        template <class T>
        QVector<T> sharedList(const QVector<T>& list)
        {
            return sharedIn(std::get<QSet<QVector<T>>>(lists), list);
        }

        // The info of a property read with these fields, shared with every
        // earlier property read with the same ones.
        template <class Info>
        QSharedPointer<const Info> sharedInfo(const QString& kind, qint32 id, const QString& idName,
            const QString& name, bool reboot, qint32 lo = std::numeric_limits<qint32>::min(),
            qint32 hi = std::numeric_limits<qint32>::max())
        {
            const InfoKey key { kind, id, idName, name, reboot, lo, hi };
            const auto it = infos.constFind(key);
            if (it != infos.constEnd())
                return it->template staticCast<const Info>();
            QSharedPointer<const Info> info;
            if constexpr (std::is_same<Info, LongInfo>::value)
                info = QSharedPointer<const Info>::create(id, idName, name, reboot, lo, hi);
            else
                info = QSharedPointer<const Info>::create(id, idName, name, reboot);
            infos.insert(key, info);
            return info;
        }

        void clearProperty()
        {
            propertyIndex = -1;
            propertyIdRead = false;
        }

        void clearPlace()
        {
            node.clear();
            clearProperty();
        }

        bool fail(const QString& what)
        {
            if (!error.isEmpty())
                return false;
            QString where;
            if (!node.isEmpty())
                where = QStringLiteral("node '%1'").arg(node);
            QString property;
            if (propertyIdRead)
                property = QStringLiteral("0x%1").arg(quint32(propertyId), 0, 16);
            else if (propertyIndex >= 0)
                property = QStringLiteral("#%1").arg(propertyIndex);
            if (!property.isEmpty())
                where += (where.isEmpty() ? QString() : QStringLiteral(", ")) + QStringLiteral("property %1").arg(property);
            error = where.isEmpty() ? what : where + QStringLiteral(": ") + what;
            return false;
        }

        // `index` >= 0 names element `index` of the array `key`.
        bool readInt32(const QJsonValue& v, QLatin1String key, qint32* out, int index = -1)
        {
            const auto name = [&] {
                return index < 0 ? QString(key) : QStringLiteral("%1[%2]").arg(key).arg(index);
            };
            if (!v.isDouble())
                return fail(QStringLiteral("'%1' must be an integer").arg(name()));
            const double d = v.toDouble();
            if (std::trunc(d) != d || d < double(std::numeric_limits<qint32>::min())
                || d > double(std::numeric_limits<qint32>::max()))
                return fail(QStringLiteral("'%1' must be a 32-bit integer, not %2").arg(name()).arg(d, 0, 'g', 17));
            *out = qint32(d);
            return true;
        }

        bool readId(const QJsonValue& v, qint32* out)
        {
            if (v.isString()) {
                const QString text = v.toString();
                if (!text.startsWith(QLatin1String("0x")) && !text.startsWith(QLatin1String("0X")))
                    return fail(QStringLiteral("'id' text '%1' is not a 0x hexadecimal number").arg(text));
                bool ok = false;
                const quint32 n = text.mid(2).toUInt(&ok, 16);
                if (!ok || text.size() == 2)
                    return fail(QStringLiteral("'id' text '%1' is not a 32-bit hexadecimal number").arg(text));
                *out = qint32(n);
                return true;
            }
            if (v.isUndefined())
                return fail(QStringLiteral("'id' is missing"));
            return readInt32(v, kId, out);
        }

        bool readString(const QJsonObject& o, const QString& key, QString* out, bool required)
        {
            const QJsonValue v = o.value(key);
            if (v.isUndefined()) {
                if (required)
                    return fail(QStringLiteral("'%1' is missing").arg(key));
                return true;
            }
            if (!v.isString())
                return fail(QStringLiteral("'%1' must be a string").arg(key));
            *out = shared(v.toString());
            return true;
        }

        bool readBool(const QJsonObject& o, const QString& key, bool* out, bool required)
        {
            const QJsonValue v = o.value(key);
            if (v.isUndefined()) {
                if (required)
                    return fail(QStringLiteral("'%1' is missing").arg(key));
                return true;
            }
            if (!v.isBool())
                return fail(QStringLiteral("'%1' must be true or false").arg(key));
            *out = v.toBool();
            return true;
        }

        bool readArray(const QJsonObject& o, const QString& key, QJsonArray* out)
        {
            const QJsonValue v = o.value(key);
            if (v.isUndefined())
                return fail(QStringLiteral("'%1' is missing").arg(key));
            if (!v.isArray())
                return fail(QStringLiteral("'%1' must be an array").arg(key));
            *out = v.toArray();
            return true;
        }

        bool readStrings(const QJsonObject& o, const QString& key, QVector<QString>* out)
        {
            QJsonArray a;
            if (!readArray(o, key, &a))
                return false;
            out->reserve(a.size());
            for (int i = 0; i < a.size(); ++i) {
                if (!a.at(i).isString())
                    return fail(QStringLiteral("element %1 of '%2' must be a string").arg(i).arg(key));
                out->append(shared(a.at(i).toString()));
            }
            return true;
        }

        bool readSelectedIndex(const QJsonObject& o, int count, int* out)
        {
            const QJsonValue v = o.value(kSelected);
            if (v.isUndefined()) {
                *out = -1;
                return true;
            }
            qint32 idx = 0;
            if (!readInt32(v, kSelected, &idx))
                return false;
            if (idx < -1 || idx >= count)
                return fail(QStringLiteral("'selected' index %1 is out of range (%2 values)").arg(idx).arg(count));
            *out = idx;
            return true;
        }

            template <class P>
        std::unique_ptr<Property> readOptions(const QJsonObject& o, const QString& kind, qint32 id, const QString& idName,
            const QString& name, bool reboot)
        {
            using Info = typename P::InfoType;
            using Option = typename Info::ValueType;
            using T = typename std::remove_reference<decltype(Option().values.first())>::type;
            QJsonArray a;
            if (!readArray(o, kValues, &a))
                return nullptr;
            Option option;
            for (int i = 0; i < a.size(); ++i) {
                const QJsonValue v = a.at(i);
                if constexpr (std::is_same<T, QString>::value) {
                    if (!v.isString()) {
                        fail(QStringLiteral("element %1 of 'values' must be a string").arg(i));
                        return nullptr;
                    }
                    option.values.append(shared(v.toString()));
                } else if constexpr (std::is_same<T, int>::value) {
                    qint32 n = 0;
                    if (!readInt32(v, kValues, &n, i))
                        return nullptr;
                    option.values.append(n);
                } else {
                    if (!v.isDouble()) {
                        fail(QStringLiteral("element %1 of 'values' must be a number").arg(i));
                        return nullptr;
                    }
                    option.values.append(v.toDouble());
                }
            }
            int selected = -1;
            if (!readSelectedIndex(o, option.values.size(), &selected))
                return nullptr;
            option.selectedIndex = selected;
            option.values = sharedList(option.values);
            return std::make_unique<P>(sharedInfo<Info>(kind, id, idName, name, reboot), option);
        }

        std::unique_ptr<Property> readProperty(const QJsonObject& o)
        {
            qint32 id = 0;
            if (!readId(o.value(kId), &id))
                return nullptr;
            propertyId = id;
            propertyIdRead = true;
            QString kind, idName, name;
            bool reboot = false;
            if (!readString(o, kKind, &kind, true) || !readString(o, kIdName, &idName, false)
                || !readString(o, kName, &name, false) || !readBool(o, kNeedsReboot, &reboot, false))
                return nullptr;

            if (kind == QLatin1String("bool")) {
                bool v = false;
                if (!readBool(o, kValue, &v, true))
                    return nullptr;
                return std::make_unique<BoolProperty>(sharedInfo<BoolInfo>(kind, id, idName, name, reboot), v);
            }
            if (kind == QLatin1String("long")) {
                qint32 v = 0, lo = std::numeric_limits<qint32>::min(), hi = std::numeric_limits<qint32>::max();
                if (o.value(kValue).isUndefined()) {
                    fail(QStringLiteral("'value' is missing"));
                    return nullptr;
                }
                if (!readInt32(o.value(kValue), kValue, &v))
                    return nullptr;
                if (o.contains(kMin) && !readInt32(o.value(kMin), kMin, &lo))
                    return nullptr;
                if (o.contains(kMax) && !readInt32(o.value(kMax), kMax, &hi))
                    return nullptr;
                if (lo > hi) {
                    fail(QStringLiteral("'min' %1 is above 'max' %2").arg(lo).arg(hi));
                    return nullptr;
                }
                return std::make_unique<LongProperty>(sharedInfo<LongInfo>(kind, id, idName, name, reboot, lo, hi), v);
            }
            if (kind == QLatin1String("string")) {
                QString v;
                if (!readString(o, kValue, &v, true))
                    return nullptr;
                return std::make_unique<StringProperty>(sharedInfo<StringInfo>(kind, id, idName, name, reboot), v);
            }
            if (kind == QLatin1String("longOptions"))
                return readOptions<LongOptionsProperty>(o, kind, id, idName, name, reboot);
            if (kind == QLatin1String("doubleOptions"))
                return readOptions<DoubleOptionsProperty>(o, kind, id, idName, name, reboot);
            if (kind == QLatin1String("stringOptions"))
                return readOptions<StringOptionsProperty>(o, kind, id, idName, name, reboot);
            if (kind == QLatin1String("stringMultiOptions")) {
                TMultiOptions<QString> option;
                if (!readStrings(o, kValues, &option.values))
                    return nullptr;
                QJsonArray selected;
                if (o.contains(kSelected) && !readArray(o, kSelected, &selected))
                    return nullptr;
                for (int i = 0; i < selected.size(); ++i) {
                    qint32 idx = 0;
                    if (!readInt32(selected.at(i), kSelected, &idx, i))
                        return nullptr;
                    if (idx < 0 || idx >= option.values.size()) {
                        fail(QStringLiteral("'selected' index %1 is out of range (%2 values)")
                                 .arg(idx)
                                 .arg(option.values.size()));
                        return nullptr;
                    }
                    option.selectedIndices.append(idx);
                }
                option.values = sharedList(option.values);
                using Info = StringMultiOptionsProperty::InfoType;
                return std::make_unique<StringMultiOptionsProperty>(
                    sharedInfo<Info>(kind, id, idName, name, reboot), option);
            }
            if (kind == QLatin1String("stringList")) {
                QVector<QString> v;
                if (!readStrings(o, kValue, &v))
                    return nullptr;
                using Info = StringListProperty::InfoType;
                return std::make_unique<StringListProperty>(
                    sharedInfo<Info>(kind, id, idName, name, reboot), Info::ValueType(v));
            }
            if (kind == QLatin1String("profiles")) {
                const QJsonValue v = o.value(kValue);
                if (!v.isObject()) {
                    fail(v.isUndefined() ? QStringLiteral("'value' is missing")
                                         : QStringLiteral("'value' must be an object of profile texts"));
                    return nullptr;
                }
                Profiles profiles;
                const QJsonObject map = v.toObject();
                for (auto it = map.begin(); it != map.end(); ++it) {
                    if (!it.value().isString()) {
                        fail(QStringLiteral("profile '%1' must be a string").arg(it.key()));
                        return nullptr;
                    }
                    profiles.insert(shared(it.key()), Profile(shared(it.value().toString())));
                }
                return std::make_unique<ProfilesProperty>(
                    sharedInfo<ProfilesInfo>(kind, id, idName, name, reboot), profiles);
            }
            fail(QStringLiteral("unknown kind '%1'").arg(kind));
            return nullptr;
        }

        // QJsonValue::toVariant() with the texts shared.
        QVariant toVariant(const QJsonValue& v)
        {
            if (v.isString())
                return shared(v.toString());
            if (v.isArray()) {
                const QJsonArray a = v.toArray();
                QVariantList list;
                list.reserve(a.size());
                for (const QJsonValue& element : a)
                    list.append(toVariant(element));
                return list;
            }
            if (v.isObject()) {
                const QJsonObject o = v.toObject();
                QVariantMap map;
                for (auto it = o.begin(); it != o.end(); ++it)
                    map.insert(shared(it.key()), toVariant(it.value()));
                return map;
            }
            return v.toVariant();
        }

        kqm::smart<Node> readNode(const QJsonObject& o)
        {
            clearPlace();
            QString id, name;
            if (!readString(o, kId, &id, true))
                return {};
            if (id.isEmpty()) {
                fail(QStringLiteral("'id' must not be empty"));
                return {};
            }
            node = id;
            if (!readString(o, kName, &name, false))
                return {};

            QRectF imageRect(0, 0, 1920, 1080);
            if (o.contains(kImageRect)) {
                QJsonArray r;
                if (!readArray(o, kImageRect, &r))
                    return {};
                if (r.size() != 4) {
                    fail(QStringLiteral("'imageRect' must hold x, y, width and height"));
                    return {};
                }
                double n[4];
                for (int i = 0; i < 4; ++i) {
                    if (!r.at(i).isDouble()) {
                        fail(QStringLiteral("'imageRect' must hold numbers"));
                        return {};
                    }
                    n[i] = r.at(i).toDouble();
                }
                if (n[2] <= 0 || n[3] <= 0) {
                    fail(QStringLiteral("'imageRect' must have a positive width and height"));
                    return {};
                }
                // Image coordinates end up in integer pixel rectangles and
                // points; beyond the 32-bit range they would not convert.
                const double lowest = std::numeric_limits<qint32>::min();
                const double highest = std::numeric_limits<qint32>::max();
                if (n[0] < lowest || n[1] < lowest || n[0] + n[2] > highest || n[1] + n[3] > highest) {
                    fail(QStringLiteral("'imageRect' must lie within 32-bit image coordinates"));
                    return {};
                }
                imageRect = QRectF(n[0], n[1], n[2], n[3]);
            }

            kqm::smart<MemoryConfigSession> session(new MemoryConfigSession(imageRect));
            QJsonArray properties;
            if (o.contains(kProperties) && !readArray(o, kProperties, &properties))
                return {};
            for (int i = 0; i < properties.size(); ++i) {
                clearProperty();
                propertyIndex = i;
                if (!properties.at(i).isObject()) {
                    fail(QStringLiteral("must be an object"));
                    return {};
                }
                std::unique_ptr<Property> p = readProperty(properties.at(i).toObject());
                if (!p)
                    return {};
                if (session->hasProperty(p->id(), HasProperties::k_contextIndexDefault)) {
                    fail(QStringLiteral("duplicate property id"));
                    return {};
                }
                session->addProperty(std::move(p));
            }
            clearProperty();
            for (auto it = o.begin(); it != o.end(); ++it) {
                const QString key = it.key();
                if (key != kId && key != kName && key != kImageRect && key != kProperties)
                    session->setAttribute(shared(key), toVariant(it.value()));
            }
            return kqm::smart<Node>(new Node(id, name, session));
        }
    };

} // namespace

bool NodeDB::loadJson(const QByteArray& json, QString* error)
{
    // One node of the document is parsed at a time (json::walkObject): the
    // database then holds the document's text and the nodes built so far,
    // never the whole parsed document besides. Nodes join the database only
    // once the whole document has been read.
    Reader reader;
    std::vector<kqm::smart<Node>> loaded;
    QSet<QString> seen;
    bool nodesArray = false;
    json::Visitor visitor;
    json::Problem problem;
    visitor.arrayKey = kNodes;
    visitor.arrayBegins = [&] {
        // A later "nodes" replaces an earlier one, as in a JSON object.
        loaded.clear();
        seen.clear();
        nodesArray = true;
    };
    visitor.member = [&](const QString& key, json::Span span) {
        QJsonValue ignored;
        if (!json::parseValue(json, span, &ignored, &problem))
            return false;
        if (key == kNodes) {
            loaded.clear();
            seen.clear();
            nodesArray = false;
        }
        return true;
    };
    visitor.element = [&](int i, json::Span span) {
        QJsonValue value;
        if (!json::parseValue(json, span, &value, &problem))
            return false;
        if (!value.isObject()) {
            reader.clearPlace();
            return reader.fail(QStringLiteral("node #%1 must be an object").arg(i));
        }
        kqm::smart<Node> n = reader.readNode(value.toObject());
        if (n.null())
            return false;
        if (seen.contains(n->id())) {
            reader.clearProperty();
            return reader.fail(QStringLiteral("duplicate node id"));
        }
        seen.insert(n->id());
        loaded.push_back(n);
        return true;
    };
    // Offsets into the document are ints: Qt 6 can hold more than 2 GiB.
    bool tooLarge = false;
    if constexpr (sizeof(json.size()) > sizeof(int))
        tooLarge = json.size() > std::numeric_limits<int>::max();
    if (tooLarge)
        reader.fail(QStringLiteral("the document is larger than 2 GiB"));
    else
        json::walkObject(json, visitor, &problem);
    if (!problem.isEmpty() || (reader.error.isEmpty() && !nodesArray)) {
        reader.clearPlace();
        if (problem.what.isEmpty())
            reader.fail(QStringLiteral("the document must be an object with a 'nodes' array"));
        else
            reader.fail(QStringLiteral("malformed JSON at offset %1: %2").arg(problem.offset).arg(problem.what));
    }
    if (!reader.error.isEmpty()) {
        if (error)
            *error = reader.error;
        return false;
    }
    // What only the reading needed goes before the nodes join: the peak
    // holds one or the other.
    reader = Reader();
    seen = QSet<QString>();
    for (const kqm::smart<Node>& n : loaded) {
        if (!m_nodes.contains(n->id()))
            m_order.append(n->id());
        m_nodes.insert(n->id(), n);
    }
    if (error)
        error->clear();
    return true;
}

} // namespace kq

// Writing the node database as a JSON document (NodeDB::toJson).
#include <kq/NodeDB.h>

#include "NodeDocument_p.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <limits>

namespace kq {

using namespace nodedoc;

namespace {

    QJsonValue idToJson(qint32 id) { return QJsonValue(QStringLiteral("0x%1").arg(quint32(id), 0, 16)); }

    template <class T> QJsonArray arrayOf(const QVector<T>& values)
    {
        QJsonArray a;
        for (const T& v : values)
            a.append(QJsonValue(v));
        return a;
    }

    QJsonObject propertyToJson(const Property* p)
    {
        QJsonObject o;
        o.insert(kId, idToJson(p->id()));
        const PropertyInfo* info = p->info();
        if (!info->idName().isEmpty())
            o.insert(kIdName, info->idName());
        if (!info->name().isEmpty())
            o.insert(kName, info->name());
        if (info->needsReboot())
            o.insert(kNeedsReboot, true);

        if (auto b = dynamic_cast<const BoolProperty*>(p)) {
            o.insert(kKind, QStringLiteral("bool"));
            o.insert(kValue, b->value());
        } else if (auto l = dynamic_cast<const LongProperty*>(p)) {
            o.insert(kKind, QStringLiteral("long"));
            o.insert(kValue, l->value());
            if (l->typedInfo()->min != std::numeric_limits<qint32>::min())
                o.insert(kMin, l->typedInfo()->min);
            if (l->typedInfo()->max != std::numeric_limits<qint32>::max())
                o.insert(kMax, l->typedInfo()->max);
        } else if (auto s = dynamic_cast<const StringProperty*>(p)) {
            o.insert(kKind, QStringLiteral("string"));
            o.insert(kValue, s->value());
        } else if (auto lo = dynamic_cast<const LongOptionsProperty*>(p)) {
            o.insert(kKind, QStringLiteral("longOptions"));
            o.insert(kValues, arrayOf(lo->value().values));
            o.insert(kSelected, lo->value().selectedIndex);
        } else if (auto d = dynamic_cast<const DoubleOptionsProperty*>(p)) {
            o.insert(kKind, QStringLiteral("doubleOptions"));
            o.insert(kValues, arrayOf(d->value().values));
            o.insert(kSelected, d->value().selectedIndex);
        } else if (auto so = dynamic_cast<const StringOptionsProperty*>(p)) {
            o.insert(kKind, QStringLiteral("stringOptions"));
            o.insert(kValues, arrayOf(so->value().values));
            o.insert(kSelected, so->value().selectedIndex);
        } else if (auto m = dynamic_cast<const StringMultiOptionsProperty*>(p)) {
            o.insert(kKind, QStringLiteral("stringMultiOptions"));
            o.insert(kValues, arrayOf(m->value().values));
            o.insert(kSelected, arrayOf(m->value().selectedIndices));
        } else if (auto sl = dynamic_cast<const StringListProperty*>(p)) {
            o.insert(kKind, QStringLiteral("stringList"));
            o.insert(kValue, arrayOf<QString>(sl->value()));
        } else if (auto pr = dynamic_cast<const ProfilesProperty*>(p)) {
            o.insert(kKind, QStringLiteral("profiles"));
            QJsonObject map;
            for (auto it = pr->value().begin(); it != pr->value().end(); ++it)
                map.insert(it.key(), it.value().text);
            o.insert(kValue, map);
        } else {
            return QJsonObject(); // a kind the document format has no word for
        }
        return o;
    }

} // namespace

QByteArray NodeDB::toJson() const
{
    QJsonArray nodes;
    for (const QString& id : m_order) {
        const kqm::smart<Node> n = m_nodes.value(id);
        const kqm::smart<MemoryConfigSession> session = n->session();
        QJsonObject o = QJsonObject::fromVariantMap(session->attributes());
        o.insert(kId, n->id());
        if (!n->name().isEmpty())
            o.insert(kName, n->name());
        const QRectF r = session->imageRect();
        o.insert(kImageRect, QJsonArray { r.x(), r.y(), r.width(), r.height() });
        QJsonArray properties;
        for (const Property* p : session->properties()) {
            const QJsonObject po = propertyToJson(p);
            if (!po.isEmpty())
                properties.append(po);
        }
        o.insert(kProperties, properties);
        nodes.append(o);
    }
    QJsonObject root;
    root.insert(kNodes, nodes);
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

} // namespace kq

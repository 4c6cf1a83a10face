// The process-wide node database: nodes by identifier, each with its
// configuration session, loaded from and saved to a JSON document.
//
// Document format:
//   { "nodes": [ { "id": "cam-1", "name": "Entrance", "imageRect": [0, 0, 1920, 1080],
//       "properties": [
//         { "id": 4097, "kind": "stringOptions", "idName": "ExposureMode", "name": "Exposure mode",
//           "needsReboot": false, "values": ["auto", "manual"], "selected": 0 },
//         { "id": "0x1002", "kind": "long", "value": 7, "min": 0, "max": 100 } ] } ] }
//
// "id" of a property is a JSON integer or a "0x" hexadecimal string. "kind" is
// one of bool, long, string (with "value"), longOptions, doubleOptions,
// stringOptions ("values" and "selected", an index, -1 for none),
// stringMultiOptions ("values" and "selected", an array of indices),
// stringList ("value", an array of strings) and profiles ("value", an object
// of profile name to profile text). Any other key of a node (for instance
// "deskew" or "video") is kept as a session attribute and saved again.
//
// Used on the GUI thread only.
#pragma once

#include <kq/MemoryConfigSession.h>
#include <kq/kqplatform_export.h>
#include <kqm/Smart.h>

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

namespace kq {

class KQPLATFORM_EXPORT Node {
public:
    Node(const QString& id, const QString& name, kqm::smart<MemoryConfigSession> session);

    const QString& id() const { return m_id; }
    const QString& name() const { return m_name; }
    kqm::smart<MemoryConfigSession> session() const { return m_session; }

private:
    friend class NodeDB; // compares sessions without copying handles

    QString m_id;
    QString m_name;
    kqm::smart<MemoryConfigSession> m_session;
};

class KQPLATFORM_EXPORT NodeDB {
public:
    static NodeDB* getDB();

    NodeDB();
    ~NodeDB();
    NodeDB(const NodeDB&) = delete;
    NodeDB& operator=(const NodeDB&) = delete;

    // The node with that identifier; a null handle when there is none.
    kqm::smart<const Node> node(const QString& id) const;
    // The node's configuration session; a null handle when there is none.
    kqm::smart<INodeConfigSession> session(const QString& id) const;
    // Identifiers in the order the nodes were first loaded.
    QStringList nodeIds() const;
    // The identifier of the node whose configuration session is session;
    // empty for a null handle or a session no node here has. Walks the
    // nodes: for the occasional question, not for every frame.
    QString idOf(const kqm::smart<INodeConfigSession>& session) const;

    // Adds the document's nodes, replacing nodes of the same identifier.
    // On bad input returns false, sets *error to a message naming the node,
    // the property and what is wrong (the first problem in document order),
    // and changes nothing. Peak memory while loading stays near the size of
    // the nodes built: the document is parsed one node at a time.
    bool loadJson(const QByteArray& json, QString* error = nullptr);
    // The whole database in the format loadJson reads.
    QByteArray toJson() const;
    // Adds or replaces one node built by hand.
    void insert(const QString& id, const QString& name, kqm::smart<MemoryConfigSession> session);
    bool remove(const QString& id);
    void clear();
    // Exchanges the nodes of the two databases (handles stay valid). A
    // document checked in a scratch database replaces the nodes without
    // being loaded twice.
    void swap(NodeDB& other);

private:
    QStringList m_order;
    QMap<QString, kqm::smart<Node>> m_nodes;
};

} // namespace kq

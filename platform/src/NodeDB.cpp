// The node database's nodes; reading documents is in NodeDBReading.cpp,
// writing them in NodeDBWriting.cpp.
#include <kq/NodeDB.h>

namespace kq {

Node::Node(const QString& id, const QString& name, kqm::smart<MemoryConfigSession> session)
    : m_id(id)
    , m_name(name)
    , m_session(std::move(session))
{
}

NodeDB* NodeDB::getDB()
{
    static NodeDB db;
    return &db;
}

NodeDB::NodeDB() = default;
NodeDB::~NodeDB() = default;

kqm::smart<const Node> NodeDB::node(const QString& id) const
{
    return m_nodes.value(id);
}

kqm::smart<INodeConfigSession> NodeDB::session(const QString& id) const
{
    const kqm::smart<Node> n = m_nodes.value(id);
    if (n.null())
        return {};
    return n->session();
}

QString NodeDB::idOf(const kqm::smart<INodeConfigSession>& session) const
{
    const INodeConfigSession* wanted = session.get();
    if (!wanted)
        return QString();
    for (auto it = m_nodes.cbegin(); it != m_nodes.cend(); ++it) {
        const INodeConfigSession* held = it.value()->m_session.get();
        if (held == wanted)
            return it.key();
    }
    return QString();
}

QStringList NodeDB::nodeIds() const
{
    return m_order;
}

void NodeDB::insert(const QString& id, const QString& name, kqm::smart<MemoryConfigSession> session)
{
    if (!m_nodes.contains(id))
        m_order.append(id);
    m_nodes.insert(id, kqm::smart<Node>(new Node(id, name, std::move(session))));
}

bool NodeDB::remove(const QString& id)
{
    if (!m_nodes.remove(id))
        return false;
    m_order.removeOne(id);
    return true;
}

void NodeDB::clear()
{
    m_nodes.clear();
    m_order.clear();
}

void NodeDB::swap(NodeDB& other)
{
    m_nodes.swap(other.m_nodes);
    m_order.swap(other.m_order);
}

} // namespace kq

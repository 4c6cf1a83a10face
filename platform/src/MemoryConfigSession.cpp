#include <kq/MemoryConfigSession.h>

namespace kq {

MemoryConfigSession::MemoryConfigSession(const QRectF& imageRect)
    : m_imageRect(imageRect)
{
}

MemoryConfigSession::~MemoryConfigSession() = default;

namespace {
    // Up to this many properties, a session finds one by going through its
    // list: a few dozen pointers are read as fast as a hash is looked up,
    // and the index would take more memory than the properties themselves
    // (close to 1 KB for 14 entries with Qt 6). Above it, the index by
    // identifier is built and kept.
    constexpr size_t IndexFromCount = 32;
}

Property* MemoryConfigSession::find(int id) const
{
    if (!m_byId.isEmpty())
        return m_byId.value(id, nullptr);
    for (const auto& p : m_properties) {
        if (p->id() == id)
            return p.get();
    }
    return nullptr;
}

Property* MemoryConfigSession::addProperty(std::unique_ptr<Property> property)
{
    if (!property)
        return nullptr;
    Property* raw = property.get();
    const int id = raw->id();
    if (Property* old = find(id)) {
        for (auto& slot : m_properties) {
            if (slot.get() == old) {
                slot = std::move(property);
                break;
            }
        }
    } else {
        m_properties.push_back(std::move(property));
    }
    if (!m_byId.isEmpty()) {
        m_byId.insert(id, raw);
    } else if (m_properties.size() > IndexFromCount) {
        m_byId.reserve(int(m_properties.size()));
        for (const auto& p : m_properties)
            m_byId.insert(p->id(), p.get());
    }
    return raw;
}

bool MemoryConfigSession::removeProperty(int id)
{
    Property* p = find(id);
    if (!p)
        return false;
    m_byId.remove(id);
    for (auto it = m_properties.begin(); it != m_properties.end(); ++it) {
        if (it->get() == p) {
            m_properties.erase(it);
            break;
        }
    }
    return true;
}

QVector<Property*> MemoryConfigSession::properties() const
{
    QVector<Property*> result;
    result.reserve(int(m_properties.size()));
    for (const auto& p : m_properties)
        result.append(p.get());
    return result;
}

void MemoryConfigSession::setAttribute(const QString& key, const QVariant& value)
{
    if (value.isValid())
        m_attributes.insert(key, value);
    else
        m_attributes.remove(key);
}

const std::string& MemoryConfigSession::interfaceName()
{
    static const std::string name("kq::INodeConfigSession");
    return name;
}

IInterface* MemoryConfigSession::getInterface(const std::string& name)
{
    if (name == interfaceName())
        return this;
    return IInterface::getInterface(name);
}

bool MemoryConfigSession::hasProperty(int id, int) const
{
    return find(id) != nullptr;
}

Property* MemoryConfigSession::property(int id, int) const
{
    return find(id);
}

BoolProperty* MemoryConfigSession::property(EBoolProperty id, int) const
{
    return typed<BoolProperty>(id);
}

LongProperty* MemoryConfigSession::property(ELongProperty id, int) const
{
    return typed<LongProperty>(id);
}

StringProperty* MemoryConfigSession::property(EStringProperty id, int) const
{
    return typed<StringProperty>(id);
}

DoubleOptionsProperty* MemoryConfigSession::property(EDoubleOptionsProperty id, int) const
{
    return typed<DoubleOptionsProperty>(id);
}

LongOptionsProperty* MemoryConfigSession::property(ELongOptionsProperty id, int) const
{
    return typed<LongOptionsProperty>(id);
}

const StringOptionsProperty* MemoryConfigSession::property(EStringOptionsProperty id, int) const
{
    return typed<StringOptionsProperty>(id);
}

StringOptionsProperty* MemoryConfigSession::property(EStringOptionsProperty id, int)
{
    return typed<StringOptionsProperty>(id);
}

StringMultiOptionsProperty* MemoryConfigSession::property(EStringMultiOptionsProperty id, int) const
{
    return typed<StringMultiOptionsProperty>(id);
}

StringListProperty* MemoryConfigSession::property(EStringListProperty id, int) const
{
    return typed<StringListProperty>(id);
}

ProfilesProperty* MemoryConfigSession::property(EProfilesProperty id, int) const
{
    return typed<ProfilesProperty>(id);
}

} // namespace kq

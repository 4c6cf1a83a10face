#include <kq/MemoryConfigSession.h>

namespace kq {

MemoryConfigSession::MemoryConfigSession(const QRectF& imageRect)
    : m_imageRect(imageRect)
{
}

MemoryConfigSession::~MemoryConfigSession() = default;

Property* MemoryConfigSession::addProperty(std::unique_ptr<Property> property)
{
    if (!property)
        return nullptr;
    Property* raw = property.get();
    const int id = raw->id();
    auto it = m_byId.find(id);
    if (it != m_byId.end()) {
        for (auto& slot : m_properties) {
            if (slot.get() == it.value()) {
                slot = std::move(property);
                break;
            }
        }
    } else {
        m_properties.push_back(std::move(property));
    }
    m_byId.insert(id, raw);
    return raw;
}

bool MemoryConfigSession::removeProperty(int id)
{
    Property* p = m_byId.take(id);
    if (!p)
        return false;
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
    return m_byId.contains(id);
}

Property* MemoryConfigSession::property(int id, int) const
{
    return m_byId.value(id, nullptr);
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

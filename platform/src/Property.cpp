#include <kq/NodeConfigSession.h>
#include <kq/Property.h>
#include <kq/Records.h>

namespace kq {

PropertyInfo::PropertyInfo(qint32 id_, const QString& idName, const QString& name, bool needsReboot)
    : id(id_)
    , m_idName(idName)
    , m_name(name)
    , m_needsReboot(needsReboot)
{
}

PropertyInfo::~PropertyInfo() = default;

PropertyInfo* PropertyInfo::clone() const
{
    return new PropertyInfo(*this);
}

Property::Property(QSharedPointer<const PropertyInfo> info)
    : m_info(std::move(info))
{
    Q_ASSERT(m_info);
}

Property::~Property() = default;

void Property::announceChange()
{
    ++m_changeCount;
    if (m_changeHandler)
        m_changeHandler(this);
}

PropertyMap::~PropertyMap() = default;
BaseDefWindow::~BaseDefWindow() = default;

IInterface::~IInterface() = default;

const std::string& IInterface::interfaceName()
{
    static const std::string name("kq::IInterface");
    return name;
}

IInterface* IInterface::getInterface(const std::string& name)
{
    return name == interfaceName() ? this : nullptr;
}

const IInterface* IInterface::getInterface(const std::string& name) const
{
    return const_cast<IInterface*>(this)->getInterface(name);
}

const int HasProperties::k_contextIndexDefault = 0;

HasProperties::~HasProperties() = default;
INodeConfigSession::~INodeConfigSession() = default;

} // namespace kq

// The configuration session of a node: typed properties asked for by
// identifier. Property pointers are owned by the session and stay valid while
// a handle on it is held.
#pragma once

#include <kq/Property.h>
#include <kq/kqplatform_export.h>
#include <kqm/Smart.h>

#include <QRectF>

#include <string>

namespace kq {

// Base of the model's interfaces: asks an object for one of its interfaces
// by name.
class KQPLATFORM_EXPORT IInterface {
public:
    virtual ~IInterface();
    // Returns this for the name "kq::IInterface", null for any other name.
    virtual IInterface* getInterface(const std::string& name);
    const IInterface* getInterface(const std::string& name) const;

    static const std::string& interfaceName();
};

// Property operations of a node. Every operation takes a context index;
// the library always passes k_contextIndexDefault.
class KQPLATFORM_EXPORT HasProperties {
public:
    static const int k_contextIndexDefault;

    virtual ~HasProperties();

    virtual bool hasProperty(int id, int contextIndex) const = 0;
    // Writable property by plain identifier, whatever its kind.
    virtual Property* property(int id, int contextIndex) const = 0;
    virtual BoolProperty* property(EBoolProperty id, int contextIndex) const = 0;
    virtual LongProperty* property(ELongProperty id, int contextIndex) const = 0;
    virtual StringProperty* property(EStringProperty id, int contextIndex) const = 0;
    virtual DoubleOptionsProperty* property(EDoubleOptionsProperty id, int contextIndex) const = 0;
    virtual LongOptionsProperty* property(ELongOptionsProperty id, int contextIndex) const = 0;
    virtual const StringOptionsProperty* property(EStringOptionsProperty id, int contextIndex) const = 0;
    virtual StringOptionsProperty* property(EStringOptionsProperty id, int contextIndex) = 0;
    virtual StringMultiOptionsProperty* property(EStringMultiOptionsProperty id, int contextIndex) const = 0;
    virtual StringListProperty* property(EStringListProperty id, int contextIndex) const = 0;
    virtual ProfilesProperty* property(EProfilesProperty id, int contextIndex) const = 0;
};

class KQPLATFORM_EXPORT INodeConfigSession : public IInterface, public HasProperties {
public:
    ~INodeConfigSession() override;

    // The rectangle of the camera's image, in image coordinates.
    virtual QRectF imageRect() const = 0;
};

using NodeConfigSessionHandle = kqm::smart<INodeConfigSession>;
using ConstNodeConfigSessionHandle = kqm::smart<const INodeConfigSession>;

} // namespace kq

// An in-memory configuration session: the node database keeps one per node,
// and tests build them by hand.
#pragma once

#include <kq/NodeConfigSession.h>
#include <kq/kqplatform_export.h>

#include <QHash>
#include <QVariantMap>

#include <memory>
#include <vector>

namespace kq {

class KQPLATFORM_EXPORT MemoryConfigSession : public INodeConfigSession {
public:
    explicit MemoryConfigSession(const QRectF& imageRect = QRectF(0, 0, 1920, 1080));
    ~MemoryConfigSession() override;

    // Takes ownership. A property whose identifier the session already holds
    // replaces the old one (pointers to the old one become invalid).
    Property* addProperty(std::unique_ptr<Property> property);
    template <class P, class... Args>
    P* emplace(Args&&... args)
    {
        return static_cast<P*>(addProperty(std::make_unique<P>(std::forward<Args>(args)...)));
    }
    bool removeProperty(int id);
    // Properties in the order they were added.
    QVector<Property*> properties() const;

    void setImageRect(const QRectF& rect) { m_imageRect = rect; }

    // Further per-node settings that are not properties (for instance the
    // deskew settings and the video source), kept as the node's document
    // holds them.
    QVariantMap attributes() const { return m_attributes; }
    QVariant attribute(const QString& key) const { return m_attributes.value(key); }
    void setAttribute(const QString& key, const QVariant& value);

    // IInterface
    IInterface* getInterface(const std::string& name) override;
    static const std::string& interfaceName();

    // HasProperties
    bool hasProperty(int id, int contextIndex) const override;
    Property* property(int id, int contextIndex) const override;
    BoolProperty* property(EBoolProperty id, int contextIndex) const override;
    LongProperty* property(ELongProperty id, int contextIndex) const override;
    StringProperty* property(EStringProperty id, int contextIndex) const override;
    DoubleOptionsProperty* property(EDoubleOptionsProperty id, int contextIndex) const override;
    LongOptionsProperty* property(ELongOptionsProperty id, int contextIndex) const override;
    const StringOptionsProperty* property(EStringOptionsProperty id, int contextIndex) const override;
    StringOptionsProperty* property(EStringOptionsProperty id, int contextIndex) override;
    StringMultiOptionsProperty* property(EStringMultiOptionsProperty id, int contextIndex) const override;
    StringListProperty* property(EStringListProperty id, int contextIndex) const override;
    ProfilesProperty* property(EProfilesProperty id, int contextIndex) const override;

    // INodeConfigSession
    QRectF imageRect() const override { return m_imageRect; }

private:
    Property* find(int id) const;

    template <class P>
    P* typed(int id) const
    {
        return dynamic_cast<P*>(property(id, k_contextIndexDefault));
    }

    std::vector<std::unique_ptr<Property>> m_properties;
    // Index by identifier, built once the session holds many properties.
    QHash<int, Property*> m_byId;
    QRectF m_imageRect;
    QVariantMap m_attributes;
};

} // namespace kq

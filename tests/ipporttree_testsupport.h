// Test support for the IP/port tree suites: list properties and database
// nodes made by hand.
#pragma once

#include <ConfigDialogs/IpPortTreeWidget.h>
#include <kq/MemoryConfigSession.h>
#include <kq/NodeDB.h>

#include <QStringList>

#include <memory>

namespace kqtest {

// A node's IP/port list property holding `entries`.
inline std::unique_ptr<kqgui::IpPortTreeWidget::ListProperty> makeTargets(const QStringList& entries)
{
    using ListProperty = kqgui::IpPortTreeWidget::ListProperty;
    auto info = QSharedPointer<const ListProperty::InfoType>::create(
        0x9000001, QStringLiteral("Targets"), QStringLiteral("Targets"), false);
    return std::make_unique<ListProperty>(info, ListProperty::ValueType(entries.toVector()));
}

// Puts nodes of these identifiers (with empty sessions) into the database,
// so that the tree accepts them.
inline void insertNodes(const QStringList& ids)
{
    for (const QString& id : ids)
        kq::NodeDB::getDB()->insert(id, id, kqm::smart<kq::MemoryConfigSession>(new kq::MemoryConfigSession));
}

} // namespace kqtest

// Checked string-based signal/slot connection.
#pragma once

#include <kq/kqplatform_export.h>

#include <Qt>

class QObject;

namespace kq {

// Connects like QObject::connect(sender, SIGNAL(...), receiver, SLOT(...), type)
// with signal and method given as SIGNAL()/SLOT() strings (a leading '2' for a
// signal, '1' for a slot, '2' for a signal used as the method). Returns whether
// the connection was made. When it was not (a null object, a null or unknown
// signature, incompatible arguments), writes one warning line (level 3) naming
// both ends and returns false.
KQPLATFORM_EXPORT bool connect(const QObject* sender, const char* signal, const QObject* receiver,
    const char* method, Qt::ConnectionType type = Qt::AutoConnection);

} // namespace kq

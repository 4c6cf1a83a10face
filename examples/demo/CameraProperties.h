// The property identifiers and per-node attributes of the demo's cameras, as
// the camera document (cameras.json) uses them.
//
// The numbering is the demo's own: a client takes the identifiers from its
// property model.
#pragma once

#include <kq/Property.h>

#include <QLatin1String>

namespace demo {

// General
constexpr kq::EStringProperty NameProperty { 0x1001 };
constexpr kq::EStringProperty ModelProperty { 0x1002 };
constexpr kq::EStringProperty FirmwareProperty { 0x1003 };
constexpr kq::EBoolProperty StatusLedProperty { 0x2001 };
constexpr kq::EBoolProperty MirrorProperty { 0x2002 };
// "off" or "on"
constexpr kq::EStringOptionsProperty WideDynamicRangeProperty { 0x3001 };

// Video
constexpr kq::EStringOptionsProperty ResolutionProperty { 0x3002 };
constexpr kq::EStringOptionsProperty CodecProperty { 0x3003 };
constexpr kq::EDoubleOptionsProperty FrameRateProperty { 0x4001 };
// A compression level 0..10; the dialog shows it in percent (times 10), so
// the document gives the bounds in percent: the binding sets the spin box's
// range from the bounds as they are.
constexpr kq::ELongProperty CompressionProperty { 0x1010 };
constexpr kq::ELongProperty HttpPortProperty { 0x1011 };
constexpr kq::ELongOptionsProperty KeyFrameIntervalProperty { 0x4101 };

// Events: the events the client reacts to.
constexpr kq::EStringMultiOptionsProperty EventsProperty { 0x5001 };

// Network: where the camera sends its alarm messages, "address:port" each.
constexpr kq::EStringListProperty AlarmReceiversProperty { 0x6001 };

// Node attributes (keys of a node object in the document that are not
// properties).
//   "enabledEvents":      array of event values enabled on the camera itself
//   "configurableEvents": array of event values this client may configure
//   "exposureWindows", "motionWindows": see CameraSettingsDialog.h
inline const QLatin1String EnabledEventsAttribute("enabledEvents");
inline const QLatin1String ConfigurableEventsAttribute("configurableEvents");
inline const QLatin1String ExposureWindowsAttribute("exposureWindows");
inline const QLatin1String MotionWindowsAttribute("motionWindows");

} // namespace demo

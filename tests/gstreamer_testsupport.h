// Test support: running a GStreamer pipeline (test media, reference
// decoding) from its gst-launch description.
#pragma once

#include <gst/gst.h>

#include <QString>

namespace kqtest {

// Runs the description until its end, or for `seconds` when that is above
// 0 (then running that long counts as success). Without a limit it must end
// within 60 s. On an error returns false and sets *error.
inline bool runPipeline(const QString& description, int seconds, QString* error)
{
    GError* parseError = nullptr;
    GstElement* pipeline = gst_parse_launch(description.toUtf8().constData(), &parseError);
    if (!pipeline) {
        *error = QString::fromUtf8(parseError ? parseError->message : "cannot parse");
        g_clear_error(&parseError);
        return false;
    }
    g_clear_error(&parseError);
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstBus* bus = gst_element_get_bus(pipeline);
    GstMessage* message = gst_bus_timed_pop_filtered(
        bus, (seconds > 0 ? seconds : 60) * GST_SECOND, GstMessageType(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    bool ok = message ? GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS : seconds > 0;
    if (!message && !ok) {
        *error = QStringLiteral("timed out");
    } else if (message && !ok) {
        GError* e = nullptr;
        gst_message_parse_error(message, &e, nullptr);
        *error = QString::fromUtf8(e->message);
        g_clear_error(&e);
    }
    if (message)
        gst_message_unref(message);
    gst_object_unref(bus);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
    return ok;
}

} // namespace kqtest

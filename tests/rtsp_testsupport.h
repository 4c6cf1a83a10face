// Test support: an RTSP camera on 127.0.0.1 served by GStreamer's RTSP
// server library, and a self-signed certificate for its rtsps:// form.
#pragma once

// GLib's headers name a struct member "signals": before Qt's, which defines
// that word as a keyword.
#include <gst/gst.h>
#include <gst/rtsp-server/rtsp-server.h>

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QString>

#include <mutex>
#include <thread>

namespace kqtest {

// An RTSP server on 127.0.0.1 with one stream at /cam, served from its own
// thread. With a user, it asks for basic authentication; with a certificate,
// it speaks TLS (rtsps://).
class RtspServer {
public:
    RtspServer(const QString& launch, const QString& user = QString(), const QString& password = QString())
        : m_launch(launch)
        , m_user(user)
        , m_password(password)
    {
    }
    // Serve over TCP only, as cameras behind firewalls do: a client asking
    // for UDP is refused.
    void setTcpOnly(bool on) { m_tcpOnly = on; }
    // Serve rtsps:// with this certificate and its key (PEM, both in one).
    void setTls(const QByteArray& certificateAndKey) { m_tls = certificateAndKey; }
    ~RtspServer() { stop(); }
    RtspServer(const RtspServer&) = delete;
    RtspServer& operator=(const RtspServer&) = delete;

    // Starts on that port, or a free one with 0; false when it cannot bind.
    bool start(int port = 0)
    {
        m_context = g_main_context_new();
        m_loop = g_main_loop_new(m_context, FALSE);
        m_server = gst_rtsp_server_new();
        g_object_set(
            m_server, "address", "127.0.0.1", "service", QByteArray::number(port).constData(), nullptr);
        GstRTSPMountPoints* mounts = gst_rtsp_server_get_mount_points(m_server);
        GstRTSPMediaFactory* factory = gst_rtsp_media_factory_new();
        gst_rtsp_media_factory_set_launch(factory, m_launch.toUtf8().constData());
        gst_rtsp_media_factory_set_shared(factory, TRUE);
        if (m_tcpOnly)
            gst_rtsp_media_factory_set_protocols(factory, GST_RTSP_LOWER_TRANS_TCP);
        g_signal_connect(factory, "media-configure", G_CALLBACK(&RtspServer::onMediaConfigure), this);
        if (!m_user.isEmpty() || !m_tls.isEmpty()) {
            GstRTSPAuth* auth = gst_rtsp_auth_new();
            GstRTSPToken* token
                = gst_rtsp_token_new(GST_RTSP_TOKEN_MEDIA_FACTORY_ROLE, G_TYPE_STRING, "viewer", nullptr);
            if (!m_user.isEmpty()) {
                gchar* basic
                    = gst_rtsp_auth_make_basic(m_user.toUtf8().constData(), m_password.toUtf8().constData());
                gst_rtsp_auth_add_basic(auth, basic, token);
                g_free(basic);
            } else {
                // Anyone may watch over TLS.
                gst_rtsp_auth_set_default_token(auth, token);
            }
            gst_rtsp_token_unref(token);
            if (!m_tls.isEmpty()) {
                GTlsCertificate* certificate = g_tls_certificate_new_from_pem(m_tls.constData(), -1, nullptr);
                if (!certificate) {
                    g_object_unref(auth);
                    g_object_unref(factory);
                    g_object_unref(mounts);
                    stop();
                    return false;
                }
                gst_rtsp_auth_set_tls_certificate(auth, certificate);
                g_object_unref(certificate);
            }
            gst_rtsp_server_set_auth(m_server, auth);
            g_object_unref(auth);
            gst_rtsp_media_factory_add_role(factory, "viewer", GST_RTSP_PERM_MEDIA_FACTORY_ACCESS,
                G_TYPE_BOOLEAN, TRUE, GST_RTSP_PERM_MEDIA_FACTORY_CONSTRUCT, G_TYPE_BOOLEAN, TRUE, nullptr);
        }
        gst_rtsp_mount_points_add_factory(mounts, "/cam", factory);
        g_object_unref(mounts);
        m_source = gst_rtsp_server_attach(m_server, m_context);
        if (!m_source) {
            stop();
            return false;
        }
        m_port = gst_rtsp_server_get_bound_port(m_server);
        m_thread = std::thread([this] {
            g_main_context_push_thread_default(m_context);
            g_main_loop_run(m_loop);
            g_main_context_pop_thread_default(m_context);
        });
        return true;
    }

    // Closes every client connection and the listening socket.
    void stop()
    {
        if (m_server)
            gst_rtsp_server_client_filter(
                m_server, [](GstRTSPServer*, GstRTSPClient*, gpointer) { return GST_RTSP_FILTER_REMOVE; },
                nullptr);
        if (m_source && m_context) {
            if (GSource* source = g_main_context_find_source_by_id(m_context, m_source))
                g_source_destroy(source);
        }
        m_source = 0;
        if (m_thread.joinable()) {
            g_main_loop_quit(m_loop);
            m_thread.join();
        }
        {
            std::lock_guard<std::mutex> guard(m_lock);
            if (m_sizeFilter)
                gst_object_unref(m_sizeFilter);
            m_sizeFilter = nullptr;
        }
        if (m_server)
            g_object_unref(m_server);
        m_server = nullptr;
        if (m_loop)
            g_main_loop_unref(m_loop);
        m_loop = nullptr;
        if (m_context)
            g_main_context_unref(m_context);
        m_context = nullptr;
    }

    int port() const { return m_port; }
    QString url(const QString& credentials = QString()) const
    {
        const QString user = credentials.isEmpty() ? QString() : credentials + QLatin1Char('@');
        return QLatin1String(m_tls.isEmpty() ? "rtsp://" : "rtsps://") + user
            + QStringLiteral("127.0.0.1:%1/cam").arg(m_port);
    }

    // Gives the stream's capsfilter named "size" (if the launch line has
    // one) new caps: the picture changes resolution mid-stream.
    bool setSize(int width, int height)
    {
        std::lock_guard<std::mutex> guard(m_lock);
        if (!m_sizeFilter)
            return false;
        GstCaps* caps = gst_caps_new_simple("video/x-raw", "width", G_TYPE_INT, width, "height", G_TYPE_INT,
            height, "framerate", GST_TYPE_FRACTION, 15, 1, nullptr);
        g_object_set(m_sizeFilter, "caps", caps, nullptr);
        gst_caps_unref(caps);
        return true;
    }

private:
    static void onMediaConfigure(GstRTSPMediaFactory*, GstRTSPMedia* media, gpointer data)
    {
        auto* self = static_cast<RtspServer*>(data);
        GstElement* element = gst_rtsp_media_get_element(media);
        GstElement* filter = gst_bin_get_by_name(GST_BIN(element), "size");
        gst_object_unref(element);
        std::lock_guard<std::mutex> guard(self->m_lock);
        if (self->m_sizeFilter)
            gst_object_unref(self->m_sizeFilter);
        self->m_sizeFilter = filter;
    }

    QString m_launch;
    QString m_user;
    QString m_password;
    bool m_tcpOnly = false;
    QByteArray m_tls;
    GMainContext* m_context = nullptr;
    GMainLoop* m_loop = nullptr;
    GstRTSPServer* m_server = nullptr;
    guint m_source = 0;
    int m_port = 0;
    std::thread m_thread;
    std::mutex m_lock;
    GstElement* m_sizeFilter = nullptr;
};



// A live H.264 stream of the colour bars as cameras send it (8-bit 4:2:0
// unless told otherwise, a key frame a second), at that size and rate;
// moving, the bars scroll sideways so that every frame differs.
inline QString cameraLaunch(int width = 320, int height = 240, int rate = 15,
    const QString& format = QStringLiteral("I420"), bool moving = false)
{
    return QStringLiteral("( videotestsrc is-live=true pattern=smpte horizontal-speed=%5 ! capsfilter name=size "
                          "caps=video/x-raw,width=%1,height=%2,framerate=%3/1 ! videoconvert ! "
                          "video/x-raw,format=%4 ! "
                          "x264enc tune=zerolatency speed-preset=ultrafast key-int-max=%3 ! "
                          "rtph264pay name=pay0 pt=96 config-interval=-1 )")
        .arg(width)
        .arg(height)
        .arg(rate)
        .arg(format)
        .arg(moving ? 4 : 0);
}

// A self-signed certificate for 127.0.0.1 and its key, made with openssl in
// the folder given: certificate and key in one PEM (for the server), and the
// certificate alone in certificate.pem (for a client to trust). Empty when
// openssl fails.
inline QByteArray selfSignedCertificate(const QString& folder)
{
    const QDir dir(folder);
    QProcess openssl;
    openssl.start(QStringLiteral("openssl"),
        { QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"), QStringLiteral("ec"),
            QStringLiteral("-pkeyopt"), QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes"),
            QStringLiteral("-days"), QStringLiteral("1"), QStringLiteral("-subj"), QStringLiteral("/CN=127.0.0.1"),
            QStringLiteral("-addext"), QStringLiteral("subjectAltName=IP:127.0.0.1"), QStringLiteral("-keyout"),
            dir.filePath(QStringLiteral("key.pem")), QStringLiteral("-out"),
            dir.filePath(QStringLiteral("certificate.pem")) });
    if (!openssl.waitForFinished(30000) || openssl.exitStatus() != QProcess::NormalExit || openssl.exitCode() != 0)
        return QByteArray();
    QFile certificate(dir.filePath(QStringLiteral("certificate.pem")));
    QFile key(dir.filePath(QStringLiteral("key.pem")));
    if (!certificate.open(QIODevice::ReadOnly) || !key.open(QIODevice::ReadOnly))
        return QByteArray();
    return certificate.readAll() + key.readAll();
}

} // namespace kqtest

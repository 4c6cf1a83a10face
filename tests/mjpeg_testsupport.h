// Test support: an HTTP camera on 127.0.0.1 sending Motion JPEG.
#pragma once

#include <QBuffer>
#include <QColor>
#include <QHash>
#include <QImage>
#include <QList>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

namespace kqtest {

// An HTTP camera on 127.0.0.1 sending Motion JPEG (multipart/x-mixed-replace)
// of one colour at 15 frames per second, from the GUI thread's event loop.
// With a user it answers 401 until the request brings basic credentials.
class MjpegServer : public QObject {
public:
    MjpegServer(const QColor& color, const QByteArray& credentials = QByteArray())
        : m_credentials(credentials)
    {
        QImage image(320, 240, QImage::Format_RGB32);
        image.fill(color);
        QBuffer buffer(&m_jpeg);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "JPEG", 95);
        QObject::connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = m_server.nextPendingConnection()) {
                socket->setParent(this);
                QObject::connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
            }
        });
        m_timer.setInterval(66);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] {
            const QByteArray part = "--frame\r\nContent-Type: image/jpeg\r\nContent-Length: "
                + QByteArray::number(m_jpeg.size()) + "\r\n\r\n" + m_jpeg + "\r\n";
            for (QTcpSocket* socket : qAsConst(m_streaming))
                socket->write(part);
        });
    }

    bool start()
    {
        m_timer.start();
        return m_server.listen(QHostAddress::LocalHost);
    }
    QString url(const QString& credentials = QString()) const
    {
        const QString user = credentials.isEmpty() ? QString() : credentials + QLatin1Char('@');
        return QStringLiteral("http://") + user
            + QStringLiteral("127.0.0.1:%1/video.mjpg").arg(m_server.serverPort());
    }
    int refused = 0;

private:
    void answer(QTcpSocket* socket)
    {
        QByteArray& request = m_requests[socket];
        request += socket->readAll();
        if (!request.contains("\r\n\r\n") || m_streaming.contains(socket))
            return;
        if (!m_credentials.isEmpty()
            && !request.contains("Authorization: Basic " + m_credentials.toBase64() + "\r\n")) {
            ++refused;
            socket->write("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"cam\"\r\n"
                          "Content-Length: 0\r\n\r\n");
            request.clear();
            return;
        }
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=frame\r\n"
                      "Connection: close\r\n\r\n");
        m_streaming.append(socket);
    }

    QByteArray m_credentials;
    QByteArray m_jpeg;
    QTcpServer m_server;
    QTimer m_timer;
    QHash<QTcpSocket*, QByteArray> m_requests;
    QList<QTcpSocket*> m_streaming;
};

} // namespace kqtest

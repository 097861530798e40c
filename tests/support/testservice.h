#pragma once

#include "loopbackhttp.h"

#include <QHash>
#include <QList>
#include <QObject>

#include <chrono>
#include <memory>
#include <vector>

// A scriptable HTTP service on a free loopback port for the tests. Each path answers as the test
// scripts it and every request is recorded, so a test can check what the app sent and when.
// Unscripted paths answer 404 with an empty body.
class TestService : public QObject
{
    Q_OBJECT

public:
    using Answer = LoopbackHttp::Answer;

    struct Seen
    {
        QString method;
        QString path; // as sent, percent-encoding kept
        QByteArray body;
        QList<QPair<QByteArray, QByteArray>> headers;

        // The value of a header by its case-insensitive name; none when it was not sent.
        std::optional<QByteArray> header(QByteArrayView name) const;
    };

    TestService();
    ~TestService() override;

    QString origin() const;

    void on(const QString &path, const Answer &answer, std::chrono::milliseconds delay = {});
    void onJson(const QString &path, const QJsonValue &value, int status = 200);
    // Never answers: the request waits until the client gives up, or until release().
    void stall(const QString &path);
    // Answers the requests stalled on `path`, and those to come, with `answer`.
    void release(const QString &path, const Answer &answer);

    // A request of the test's own through the service and back, not recorded: what the app sent
    // before it has arrived by its end, so a test can then check that something did not happen.
    bool roundTrip();

    const QList<Seen> &seen() const { return m_seen; }
    qsizetype count(const QString &path) const;

signals:
    // A request has arrived (before it is answered).
    void received(const QString &path);

private:
    class Http;
    void serve(const QHttpServerRequest &request, QHttpServerResponder &&responder);

    std::unique_ptr<Http> m_http;
    struct Reply
    {
        Answer answer;
        std::chrono::milliseconds delay{0};
        bool stall = false;
    };
    QHash<QString, Reply> m_replies;
    QList<Seen> m_seen;
    std::vector<std::pair<QString, std::shared_ptr<QHttpServerResponder>>> m_stalled;
};

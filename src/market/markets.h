#pragma once

#include "model/inflight.h"
#include "model/quote.h"
#include "model/service.h"

#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

#include <QCoroQmlTask>
#include <QCoroTask>

#include <optional>

class QNetworkAccessManager;

// The market watch: the service's snapshot of three quotes, a one-line status and a busy flag.
class Markets : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Markets belongs to the Workspace")
    Q_PROPERTY(QList<Quote> quotes READ quotes NOTIFY quotesChanged)
    Q_PROPERTY(QString status READ status NOTIFY statusChanged)
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)

public:
    // `client` is the shared HTTP client; it must outlive the store.
    Markets(QNetworkAccessManager *client, Service service, QObject *parent = nullptr);

    const QList<Quote> &quotes() const { return m_quotes; }
    const QString &status() const { return m_status; }
    // Where and with what time-out the store sends its requests.
    const Service &service() const { return m_service; }
    bool loading() const { return m_loading; }

    // Fetches a new snapshot. While one load runs, a second returns at once and changes nothing.
    QCoro::Task<> load();
    // load() for the views; the task settles when that call returns.
    Q_INVOKABLE QCoro::QmlTask loadTask();

    // The three quotes of a snapshot body, or none when the body is not a usable snapshot.
    static std::optional<QList<Quote>> parse(const QJsonObject &snapshot);

signals:
    void quotesChanged();
    void statusChanged();
    void loadingChanged();

private:
    void setLoading(bool loading);

    QPointer<QNetworkAccessManager> m_client;
    Service m_service;
    QList<Quote> m_quotes;
    QString m_status;
    bool m_loading = false;
    Inflight m_inflight; // last: aborted first when the store goes away
};

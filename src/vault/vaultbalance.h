#pragma once

#include "model/inflight.h"
#include "model/running.h"
#include "model/service.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <QCoroQmlTask>
#include <QCoroTask>

#include <optional>

class QJsonObject;
class QNetworkAccessManager;

// What the vault store shows: both amounts and the permission state, or the unavailable texts.
struct VaultTexts
{
    QString balance;
    QString budget;
    QString status;

    friend bool operator==(const VaultTexts &, const VaultTexts &) = default;
};

// The shared test vault: its balance, the agent's remaining budget and whether the agent may
// spend, as the display texts the screens show.
class VaultBalance : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("VaultBalance belongs to the Workspace")
    Q_PROPERTY(QString balance READ balance NOTIFY balanceChanged)
    Q_PROPERTY(QString budget READ budget NOTIFY budgetChanged)
    Q_PROPERTY(QString status READ status NOTIFY statusChanged)
    // A load is under way; the texts shown are still the previous ones.
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)

public:
    // `client` is the shared HTTP client; it must outlive the store.
    VaultBalance(QNetworkAccessManager *client, Service service, QObject *parent = nullptr);

    const QString &balance() const { return m_balance; }
    const QString &budget() const { return m_budget; }
    const QString &status() const { return m_status; }
    // Where and with what time-out the store sends its requests.
    const Service &service() const { return m_service; }
    bool loading() const { return m_loads.any(); }

    // Fetches the vault status once and replaces all three texts. Calls are not refused while
    // another runs: each writes when its reply ends, so the one that ends last is shown.
    QCoro::Task<> load();
    // load() for the views; the task settles when that call returns.
    Q_INVOKABLE QCoro::QmlTask loadTask();

    // The texts for the decoded object of a status reply; none stands for a reply that failed
    // before it could be read.
    static VaultTexts texts(const std::optional<QJsonObject> &reply);

signals:
    void balanceChanged();
    void budgetChanged();
    void statusChanged();
    void loadingChanged();

private:
    QCoro::Task<> fetch();
    void show(const VaultTexts &texts);

    QPointer<QNetworkAccessManager> m_client;
    Service m_service;
    QString m_balance;
    QString m_budget;
    QString m_status;
    Running m_loads;
    Inflight m_inflight; // last: aborted first when the store goes away
};

#include "standins.h"

#include <QMetaObject>
#include <QNetworkReply>
#include <QPointer>
#include <QRegularExpression>

#include <QCoroNetworkReply>

#include <memory>
#include <utility>

class StandInOwnerContext : public OwnerAuthContext
{
public:
    explicit StandInOwnerContext(StandInOwner *owner)
        : m_owner(owner)
    {}

    void canEvaluate(std::function<void(bool)> reply) override
    {
        QMetaObject::invokeMethod(
            this, [reply = std::move(reply), able = m_owner && m_owner->m_available] { reply(able); },
            Qt::QueuedConnection);
    }

    void evaluate(const QString &reason, std::function<void(bool)> reply) override
    {
        if (!m_owner)
            return;
        m_owner->m_reasons.append(reason);
        if (m_owner->m_outcomes.isEmpty() && !m_owner->m_passing)
            return;
        const StandInOwner::Outcome outcome =
            m_owner->m_outcomes.isEmpty() ? StandInOwner::Pass : m_owner->m_outcomes.takeFirst();
        if (outcome == StandInOwner::Ask) {
            prompt(reason, std::move(reply));
            return;
        }
        QMetaObject::invokeMethod(
            m_owner, [reply = std::move(reply), ok = outcome == StandInOwner::Pass] { reply(ok); },
            Qt::QueuedConnection);
    }

private:
    // Later, as the stack would; the prompt goes with this context.
    void prompt(const QString &reason, std::function<void(bool)> reply)
    {
        QMetaObject::invokeMethod(
            this,
            [this, reason, reply = std::move(reply), user = m_owner->m_promptUser] {
                // Once, and later: the reply may let this context go, and the prompt with it.
                const auto finish = [this, reply, done = std::make_shared<bool>(false)](bool ok) {
                    if (std::exchange(*done, true))
                        return;
                    QMetaObject::invokeMethod(
                        this, [reply, ok] { reply(ok); }, Qt::QueuedConnection);
                };
                auto *asked = new OwnerPrompt(
                    reason, user, [finish](SecretBuffer) { finish(true); }, [finish] { finish(false); },
                    this);
                asked->ask(QStringLiteral("Password: "), true);
                if (m_owner)
                    emit m_owner->promptOpened(asked);
            },
            Qt::QueuedConnection);
    }

    QPointer<StandInOwner> m_owner;
};

std::unique_ptr<OwnerAuthContext> StandInOwner::context()
{
    return std::make_unique<StandInOwnerContext>(this);
}

void StandInBrowser::open(const QUrl &url)
{
    opened.append(url);
    if (!approving || !url.path().startsWith(u"/portal/"))
        return;
    QCoro::connect(approvePage(url), &m_client, [this](bool ok) { approved += ok; });
}

QCoro::Task<bool> StandInBrowser::approve()
{
    if (opened.isEmpty())
        co_return false;
    const bool ok = co_await approvePage(opened.last());
    co_return ok;
}

QCoro::Task<bool> StandInBrowser::approvePage(QUrl portal)
{
    // The page first, for the token its form carries; then the form, posted from the page.
    std::unique_ptr<QNetworkReply> page(co_await m_client.get(QNetworkRequest(portal)));
    static const QRegularExpression hidden(R"re(<input type="hidden" name="token" value="([^"]+)">)re");
    const QString token = hidden.match(QString::fromUtf8(page->readAll())).captured(1);
    QNetworkRequest request(portal);
    request.setHeader(QNetworkRequest::ContentTypeHeader, "application/x-www-form-urlencoded");
    request.setRawHeader("Origin", portal.adjusted(QUrl::RemovePath).toString().toLatin1());
    std::unique_ptr<QNetworkReply> reply(
        co_await m_client.post(request, "decision=approve&token=" + token.toLatin1()));
    // The owner closes the page: a connection kept open here, in the app's process, would wake it
    // when the service gives the connection up.
    m_client.clearConnectionCache();
    co_return reply->error() == QNetworkReply::NoError;
}

namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString appearance = QStringLiteral("org.freedesktop.appearance");
const QString colorScheme = QStringLiteral("color-scheme");

} // namespace

StandInPortal::StandInPortal(uint scheme, QObject *parent)
    : QObject(parent)
    // A connection of its own, so that the app's calls cross the bus as they would to a portal.
    , m_bus(
          QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("kelvra-standin-portal")))
    , m_scheme(scheme)
{
    m_registered = m_bus.isConnected()
                   && m_bus.registerObject(
                       portalPath, this, QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals)
                   && m_bus.registerService(portalService);
}

StandInPortal::~StandInPortal()
{
    m_bus.unregisterService(portalService);
    m_bus.unregisterObject(portalPath);
    QDBusConnection::disconnectFromBus(m_bus.name());
}

void StandInPortal::setScheme(uint scheme)
{
    m_scheme = scheme;
    emit SettingChanged(appearance, colorScheme, QDBusVariant(m_scheme));
}

QDBusVariant StandInPortal::Read(const QString &group, const QString &key)
{
    if (group != appearance || key != colorScheme) {
        sendErrorReply(QStringLiteral("org.freedesktop.portal.Error.NotFound"),
                       QStringLiteral("Requested setting not found"));
        return {};
    }
    ++m_reads;
    // Read wraps the value in a second variant.
    return QDBusVariant(QVariant::fromValue(QDBusVariant(m_scheme)));
}

#include "standins.h"

#include <QNetworkReply>
#include <QRegularExpression>
#include <QTimer>

#include <QCoroNetworkReply>

namespace {

class PassingContext : public OwnerAuthContext
{
public:
    void canEvaluate(std::function<void(bool)> reply) override
    {
        QTimer::singleShot(0, this, [reply] { reply(true); });
    }
    void evaluate(const QString &, std::function<void(bool)> reply) override
    {
        QTimer::singleShot(0, this, [reply] { reply(true); });
    }
};

} // namespace

std::unique_ptr<OwnerAuthContext> PassingAuthenticator::context()
{
    return std::make_unique<PassingContext>();
}

QCoro::Task<bool> ApprovingBrowser::approve()
{
    if (pending.isEmpty())
        co_return false;
    const QUrl portal = pending.takeLast();
    // The page first, for the token its form carries; then the form, posted from the page.
    std::unique_ptr<QNetworkReply> page(co_await m_client.get(QNetworkRequest(portal)));
    static const QRegularExpression hidden(R"re(<input type="hidden" name="token" value="([^"]+)">)re");
    const QString token = hidden.match(QString::fromUtf8(page->readAll())).captured(1);
    QNetworkRequest request(portal);
    request.setHeader(QNetworkRequest::ContentTypeHeader, "application/x-www-form-urlencoded");
    request.setRawHeader("Origin", portal.adjusted(QUrl::RemovePath).toString().toLatin1());
    std::unique_ptr<QNetworkReply> reply(
        co_await m_client.post(request, "decision=approve&token=" + token.toLatin1()));
    co_return reply->error() == QNetworkReply::NoError
        || reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() < 400;
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

#include "app/colorscheme.h"

#include "model/publish.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString interface = QStringLiteral("org.freedesktop.portal.Settings");
const QString group = QStringLiteral("org.freedesktop.appearance");
const QString key = QStringLiteral("color-scheme");

// Read answers the value wrapped in one variant more than the signal carries it.
bool prefersDark(QVariant value)
{
    for (int depth = 0; depth < 3 && value.metaType() == QMetaType::fromType<QDBusVariant>(); ++depth)
        value = qvariant_cast<QDBusVariant>(value).variant();
    return value.metaType() == QMetaType::fromType<uint>() && value.toUInt() == 1;
}

} // namespace

ColorScheme::ColorScheme(QObject *parent)
    : ColorScheme(QDBusConnection::sessionBus(), parent)
{}

ColorScheme::ColorScheme(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
{
    if (!m_bus.isConnected())
        return;
    // Listening first, so that no change falls between the read and the signal.
    // The slot is found by its signature's names; until the variant type is registered by name,
    // the connection fails.
    qRegisterMetaType<QDBusVariant>();
    m_bus.connect(service, path, interface, QStringLiteral("SettingChanged"), this,
                  SLOT(settingChanged(QString, QString, QDBusVariant)));
    QDBusMessage read = QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("Read"));
    read << group << key;
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(read), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *call;
        if (!m_changed && reply.isValid())
            setDark(prefersDark(QVariant::fromValue(reply.value())));
    });
}

void ColorScheme::settingChanged(const QString &changedGroup, const QString &changedKey,
                                 const QDBusVariant &value)
{
    if (changedGroup != group || changedKey != key)
        return;
    m_changed = true;
    setDark(prefersDark(QVariant::fromValue(value)));
}

void ColorScheme::setDark(bool dark)
{
    publish(this, m_dark, dark, &ColorScheme::darkChanged);
}

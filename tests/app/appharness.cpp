#include "appharness.h"

#include "scriptedownerauthenticator.h"

#include <QQuickItem>
#include <QTest>

namespace {

void collect(QQuickItem *item, const QString &name, QList<QQuickItem *> &found)
{
    if (item->objectName() == name && item->isVisible())
        found.append(item);
    for (QQuickItem *child : item->childItems())
        collect(child, name, found);
}

QQuickItem *flickableAround(QQuickItem *item)
{
    for (QQuickItem *p = item->parentItem(); p; p = p->parentItem()) {
        if (p->inherits("QQuickFlickable"))
            return p;
    }
    return nullptr;
}

} // namespace

AppHarness::AppHarness(std::chrono::milliseconds checkPeriod)
    : authenticator(std::make_unique<ScriptedOwnerAuthenticator>())
{
    Workspace::Platform platform;
    platform.authenticator = authenticator.get();
    platform.opener = &opener;
    platform.checkPeriod = checkPeriod;
    workspace = std::make_unique<Workspace>(service.origin(), platform);
}

AppHarness::~AppHarness()
{
    engine.reset();
    workspace.reset();
}

bool AppHarness::show()
{
    engine = std::make_unique<QQmlApplicationEngine>();
    engine->setInitialProperties({{QStringLiteral("workspace"), QVariant::fromValue(workspace.get())}});
    engine->load(QUrl(QStringLiteral("qrc:/Kelvra/Main.qml")));
    if (engine->rootObjects().isEmpty())
        return false;
    return QTest::qWaitForWindowExposed(window());
}

QQuickWindow *AppHarness::window() const
{
    return engine && !engine->rootObjects().isEmpty()
               ? qobject_cast<QQuickWindow *>(engine->rootObjects().first())
               : nullptr;
}

QList<QQuickItem *> AppHarness::items(const QString &objectName) const
{
    QList<QQuickItem *> found;
    if (QQuickWindow *w = window())
        collect(w->contentItem()->parentItem() ? w->contentItem()->parentItem() : w->contentItem(),
                objectName, found);
    return found;
}

QQuickItem *AppHarness::item(const QString &objectName) const
{
    const auto found = items(objectName);
    return found.isEmpty() ? nullptr : found.first();
}

bool AppHarness::click(QQuickItem *item)
{
    if (!item || !item->isVisible() || !item->isEnabled())
        return false;
    const auto centre = [item] { return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)); };
    const QRectF inWindow(0, 0, window()->width() - 1, window()->height() - 1);
    // A layout that has just grown may not have settled yet: scroll again until the item is in view.
    for (int tries = 0; tries < 10 && (tries == 0 || !inWindow.contains(centre())); ++tries) {
        QQuickItem *flickable = flickableAround(item);
        if (!flickable)
            break;
        // Bring the item to the middle of the viewport.
        const qreal inView = item->mapToItem(flickable, QPointF(0, item->height() / 2)).y();
        const qreal contentY = flickable->property("contentY").toReal();
        // A list's header lies above its origin, and its margins widen the range.
        const qreal minY =
            flickable->property("originY").toReal() - flickable->property("topMargin").toReal();
        const qreal maxY = std::max(
            minY, flickable->property("originY").toReal() + flickable->property("contentHeight").toReal()
                      + flickable->property("bottomMargin").toReal() - flickable->height());
        flickable->setProperty("contentY",
                               std::clamp(contentY + inView - flickable->height() / 2, minY, maxY));
        QTest::qWait(20);
    }
    QTest::mouseClick(window(), Qt::LeftButton, Qt::NoModifier, centre().toPoint());
    return true;
}

bool AppHarness::type(const QString &objectName, const QString &text)
{
    QQuickItem *field = item(objectName);
    if (!field || !click(field))
        return false;
    // Select everything and delete it, as a user clears a field.
    QTest::keyClick(window(), Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(window(), Qt::Key_Backspace);
    for (const QChar c : text)
        QTest::keyClick(window(), c.toLatin1());
    return field->property("text").toString() == text;
}

QString AppHarness::text(const QString &objectName) const
{
    QQuickItem *found = item(objectName);
    return found ? found->property("text").toString() : QString();
}

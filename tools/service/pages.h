#pragma once

#include <QByteArray>
#include <QString>

// The service's own web pages: plain HTML that works in any browser, without scripts.

QByteArray homePage();
// The guided demo, with the switch for the agent's spending permission; its form carries
// `formToken`.
QByteArray demoPage(bool agentActive, const QString &formToken);
QByteArray competitionPage();

// The portal where the owner approves or denies a device sign-in: while it waits, the match code
// and a form with the two buttons, which carries `formToken`; afterwards, what became of it.
enum class PortalView { Waiting, Approved, Denied, Claimed };
QByteArray portalPage(const QString &id, const QString &code, const QString &formToken, PortalView view);

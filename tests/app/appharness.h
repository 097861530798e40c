#pragma once

#include "app/kelvrawindow.h"
#include "standins.h"
#include "testservice.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QQuickItem>
#include <QQuickWindow>

#include <memory>

// A market snapshot of BTC-USD, ETH-USD and SOL-USD quoted now.
QJsonObject snapshot();
// A service that signs the owner in at once, with match code K7Q2 and this history, whose entry
// "p1" has the receipt "A\nB"; the sign-in answers after `startDelay`.
void scriptOwner(TestService &service, const QJsonArray &history, std::chrono::milliseconds startDelay = {});

// The real window (Main.qml) on the real workspace and stores, talking to a scriptable loopback
// service, with a scripted owner and a browser that records what it opens. Offscreen.
class AppHarness
{
public:
    // `origin` is the service the app talks to; empty: the scriptable service below.
    explicit AppHarness(std::chrono::milliseconds checkPeriod = std::chrono::seconds(30),
                        QString origin = {});
    ~AppHarness();

    // Declared in the order they are made; they go in reverse, the window first.
    TestService service;
    StandInBrowser opener;
    std::unique_ptr<StandInOwner> authenticator;
    std::unique_ptr<KelvraWindow> kelvra;
    Workspace *const workspace;

    // Loads the window; the root view appears and the start-up loads begin.
    bool show();
    QQuickWindow *window() const { return kelvra ? kelvra->window() : nullptr; }

    // The visible items with this objectName, searched through the visual tree (delegates too).
    QList<QQuickItem *> items(const QString &objectName) const;
    QQuickItem *item(const QString &objectName) const { return items(objectName).value(0); }
    // Scrolls the item into view and clicks its centre with the mouse, as a user would.
    bool click(QQuickItem *item);
    bool click(const QString &objectName) { return click(item(objectName)); }
    // Types text into the field with this objectName after clearing it.
    bool type(const QString &objectName, const QString &text);
    QString text(const QString &objectName) const;

    // The keyboard: what a screen reader calls the item with the keyboard focus, keys sent as a
    // sequence ("Ctrl+F", "Space, Down, Return"), and Tab pressed until `name` has the focus.
    QString focused() const;
    void keys(const QString &sequence);
    bool tabTo(const QString &name);
};

// The screens a test opens the window on.
enum Screen { OnWelcome = -1, OnHome, OnMarkets, OnTrade, OnAccount, AsOwner };

// Shows the window on `screen` once both start-up loads are over; AsOwner is the Account tab
// signed in, with one payment, "p1", in the history.
bool openScreen(AppHarness &app, int screen);

// The owner's whole journey through the app's own logic and the real local service: the unlock
// gate, the device sign-in, approval on the portal as a browser gives it, the claim, the account
// and history, a receipt, sign-out, and a session that runs out.

#include "ownersession.h"
#include "quiet.h"
#include "regionformat.h"
#include "scriptedownerauthenticator.h"
#include "serviceclient.h"
#include "urlopener.h"
#include "workspace.h"

#include <QCoroTask>
#include <QTest>

using namespace std::chrono_literals;

namespace {

class RecordingOpener : public UrlOpener
{
public:
    void open(const QUrl &url) override { opened.append(url); }
    QList<QUrl> opened;
};

const QString connectedPrefix = QStringLiteral("Owner connected · read-only until ");

} // namespace

class TestJourney : public QObject
{
    Q_OBJECT

    ServiceClient m_browser;

    // Unlocks the owner gate and approves the sign-in on the portal; returns the portal URL.
    QUrl signIn(Workspace &workspace, ScriptedOwnerAuthenticator &authenticator, RecordingOpener &opener)
    {
        authenticator.queue(true);
        workspace.unlock();
        if (!QTest::qWaitFor([&] { return !opener.opened.isEmpty(); }, 5000))
            return {};
        const QUrl portal = opener.opened.last();
        Exchanged answer;
        m_browser.decide(SignIn{portal.path().section(u'/', -1), workspace.session()->code(), {}, portal},
                         QStringLiteral("approve"), answer);
        return portal;
    }

private slots:
    void init() { failOnAnyWarning(); }

    void ownerJourney()
    {
        const auto service = running();
        ScriptedOwnerAuthenticator authenticator;
        RecordingOpener opener;
        Workspace workspace(service->origin(), {&authenticator, &opener});
        OwnerSession *session = workspace.session();

        authenticator.queue(true);
        workspace.unlock();
        QTRY_COMPARE(opener.opened.size(), 1);
        QCOMPARE(workspace.selectedTab(), int(Workspace::Account));
        // The portal is on the service's own host and port.
        const QUrl portal = opener.opened.first();
        QCOMPARE(portal.host(), QUrl(service->origin()).host());
        QCOMPARE(portal.port(), QUrl(service->origin()).port());
        QCOMPARE(session->status(), QStringLiteral("Waiting for passkey approval · match code ") + session->code());
        QCOMPARE(session->code().size(), 4);

        // Before approval the claim is pending.
        QCoro::waitFor(session->check());
        QCOMPARE(session->status(), QStringLiteral("Waiting for approval · match code ") + session->code());

        // Someone without the verifier gets nothing, and the sign-in stays the owner's.
        const QString id = portal.path().section(u'/', -1);
        const Exchanged stolen = m_browser.call(*service, "POST", "/device/claim",
                                                claimBody(id, QString(64, u'0')), jsonType());
        QCOMPARE(stolen.status, 403);
        QVERIFY(!stolen.object().contains("token"));

        Exchanged answer;
        m_browser.decide(SignIn{id, session->code(), {}, portal}, QStringLiteral("approve"), answer);
        QVERIFY(!QTest::currentTestFailed());

        QCoro::waitFor(session->check());
        QVERIFY(session->connected());
        QVERIFY2(session->status().startsWith(connectedPrefix), qPrintable(session->status()));
        QVERIFY(session->code().isEmpty());
        QVERIFY(session->owner().value("owner").toString().startsWith("0x"));
        QVERIFY(!session->history().isEmpty());

        // A payment's receipt verifies into the service's explanation and limitation.
        const QString payment = session->history().first().toObject().value("id").toString();
        QCoro::waitFor(session->verify(payment));
        const QStringList proof = session->proof().split(u'\n');
        QCOMPARE(proof.size(), 2);
        QVERIFY(!proof.first().isEmpty() && proof.first() != "Receipt unavailable");

        // The periodic check keeps the session fresh.
        QCoro::waitFor(session->check());
        QVERIFY(session->connected());

        // Sign-out ends the session at the service too: a new check has nothing to send.
        QCoro::waitFor(session->logout());
        QVERIFY(!session->connected());
        QCOMPARE(session->status(), QStringLiteral("Guest demo · no owner session"));
        QVERIFY(session->proof().isEmpty());
        QCoro::waitFor(session->check());
        QCOMPARE(session->status(), QStringLiteral("Guest demo · no owner session"));
    }

    void sessionRunsOut()
    {
        const auto service = running(1500ms);
        ScriptedOwnerAuthenticator authenticator;
        RecordingOpener opener;
        Workspace workspace(service->origin(), {&authenticator, &opener});
        QVERIFY(signIn(workspace, authenticator, opener).isValid());
        QVERIFY(!QTest::currentTestFailed());

        QCoro::waitFor(workspace.session()->check());
        QVERIFY(workspace.session()->connected());
        QTest::qWait(1600);
        QCoro::waitFor(workspace.session()->check());
        QVERIFY(!workspace.session()->connected());
        QCOMPARE(workspace.session()->status(), QStringLiteral("Session expired. Sign in again."));
    }
};

QTEST_MAIN(TestJourney)
#include "tst_journey.moc"

#pragma once

#include <QHash>
#include <QString>

#include <chrono>
#include <optional>

// Device sign-ins with a proof key. The app sends the SHA-256 challenge of a secret verifier and
// gets an id and a match code; the owner approves or denies the sign-in on the portal; the app
// then claims it once, with the id and the verifier itself. Times are milliseconds since the
// epoch, handed in by the caller.
class DeviceSignIns
{
public:
    enum class State { Pending, Approved, Denied, Claimed };
    enum class Decision { Done, Unknown, Forged, AlreadyDecided };
    enum class Claim { Pending, Granted, Unknown, WrongVerifier, Denied, AlreadyClaimed };

    struct Started
    {
        QString id;
        QString code;
    };

    // A sign-in that nobody finishes within this time is forgotten.
    static constexpr std::chrono::milliseconds lifetime = std::chrono::minutes(10);
    // More sign-ins than this waiting at once are refused, so a flood cannot grow the table.
    static constexpr qsizetype capacity = 256;

    // True for 64 lower-case hexadecimal digits, the form of a challenge and of a verifier.
    static bool isHexDigest(const QString &text);

    // None when the table is full.
    std::optional<Started> start(const QString &challenge, qint64 now);
    std::optional<State> state(const QString &id, qint64 now);
    std::optional<QString> code(const QString &id, qint64 now);
    // The token the portal page's form carries, drawn at the start: only a post that sends it
    // back came from that page, not from a form on another site that posts to the portal.
    std::optional<QString> formToken(const QString &id, qint64 now);
    Decision decide(const QString &id, bool approve, const QString &formToken, qint64 now);
    // A wrong verifier leaves the sign-in as it was; a granted claim marks it claimed, so that it
    // is granted once and a replay is told apart from an id never seen.
    Claim claim(const QString &id, const QString &verifier, qint64 now);

private:
    struct Entry
    {
        QString challenge;
        QString code;
        QString formToken;
        State state = State::Pending;
        qint64 started = 0;
    };

    Entry *find(const QString &id, qint64 now);
    void forgetLapsed(qint64 now);

    QHash<QString, Entry> m_entries;
};

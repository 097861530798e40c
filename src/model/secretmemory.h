#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>

// Secrets held in Qt's implicitly shared strings (the owner's token, the proof-key verifier):
// each holder we control wipes its copy when it lets it go, and a call is given a copy of its
// own. What Qt copies on its own (the parsed JSON the token came in, the request headers a
// client builds, a text field's undo history) is beyond our reach.

// Overwrites the text with zeros when this is its only holder, then empties it.
void wipe(QString &text);
void wipe(QByteArray &bytes);

// A copy in a buffer of its own, for handing to a call: the caller wipes it with wipeAfterCall()
// once the call has returned.
QString privateCopy(const QString &text);
// Overwrites a privateCopy() in place, then empties it. A coroutine that has returned lets go of
// its arguments only after its caller has resumed (QCoro resumes the caller from inside the
// finished call), so the copy is still shared then, though nobody reads it any more.
void wipeAfterCall(QString &copy);

// For tests: called with each buffer as wipe() has overwritten it, before it is released.
using WipeWatcher = void (*)(const void *data, std::size_t bytes);
void setWipeWatcher(WipeWatcher watcher);

// While one of these lives, the process cannot dump core (and cannot be attached to by another
// process of the same user): a crash must not write a token or a password to disk. The last
// one to go restores what was there before the first. Any thread.
class NoCoreDump
{
public:
    NoCoreDump();
    NoCoreDump(NoCoreDump &&other) noexcept;
    NoCoreDump &operator=(NoCoreDump &&other) noexcept;
    NoCoreDump(const NoCoreDump &) = delete;
    NoCoreDump &operator=(const NoCoreDump &) = delete;
    ~NoCoreDump();

private:
    bool m_held = true;
};

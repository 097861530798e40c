#include "model/secretmemory.h"

#include <atomic>
#include <mutex>
#include <string.h>
#include <sys/prctl.h>
#include <utility>

namespace {

std::atomic<WipeWatcher> watcher{nullptr};

void overwrite(void *data, std::size_t bytes)
{
    explicit_bzero(data, bytes);
    if (const WipeWatcher watch = watcher.load())
        watch(data, bytes);
}

std::mutex dumpMutex;
int dumpHolders = 0;
int dumpableBefore = 1;

void holdDump()
{
    std::lock_guard lock(dumpMutex);
    if (dumpHolders++ == 0) {
        dumpableBefore = prctl(PR_GET_DUMPABLE, 0, 0, 0, 0);
        prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
    }
}

void releaseDump()
{
    std::lock_guard lock(dumpMutex);
    // Only 0 and 1 can be set; a process the system made dumpable for root only (2) stays as
    // it is now.
    if (--dumpHolders == 0 && dumpableBefore == 1)
        prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
}

} // namespace

void wipe(QString &text)
{
    // A shared buffer still serves another holder (or is a literal in read-only memory).
    if (text.isDetached() && !text.isEmpty())
        overwrite(text.data(), std::size_t(text.size()) * sizeof(QChar));
    text.clear();
}

void wipe(QByteArray &bytes)
{
    if (bytes.isDetached() && !bytes.isEmpty())
        overwrite(bytes.data(), std::size_t(bytes.size()));
    bytes.clear();
}

QString privateCopy(const QString &text)
{
    return text.isEmpty() ? QString() : QString(text.constData(), text.size());
}

void wipeAfterCall(QString &copy)
{
    // Heap memory that only this copy and the finished call's frame point to.
    if (!copy.isEmpty())
        overwrite(const_cast<QChar *>(copy.constData()), std::size_t(copy.size()) * sizeof(QChar));
    copy.clear();
}

void setWipeWatcher(WipeWatcher watch)
{
    watcher.store(watch);
}

NoCoreDump::NoCoreDump()
{
    holdDump();
}

NoCoreDump::NoCoreDump(NoCoreDump &&other) noexcept
    : m_held(std::exchange(other.m_held, false))
{}

NoCoreDump &NoCoreDump::operator=(NoCoreDump &&other) noexcept
{
    if (this != &other) {
        if (m_held)
            releaseDump();
        m_held = std::exchange(other.m_held, false);
    }
    return *this;
}

NoCoreDump::~NoCoreDump()
{
    if (m_held)
        releaseDump();
}

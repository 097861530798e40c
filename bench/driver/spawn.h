#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>
#include <sys/types.h>

// A measured program, started fresh: its own empty home (so no cache of an earlier run helps
// it), the moment of its exec passed in KELVRA_BENCH_T0, its standard output read line by line.
class Child
{
public:
    Child() = default;
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;
    ~Child();

    // Starts `program` with `arguments`; the extra environment entries are "NAME=value".
    // With `quiet`, its standard error goes nowhere.
    bool start(const QString &program, const QStringList &arguments, const QStringList &environment = {},
               bool quiet = false);
    pid_t pid() const { return m_pid; }

    // The next line of output, or none at the end of output or after `wait`.
    std::optional<QByteArray> line(std::chrono::milliseconds wait);
    // Its output has ended (it, and whatever it started, has closed it).
    bool ended() const { return m_out < 0 && m_buffer.isEmpty(); }
    // Reads "name value" lines until the program ends (or `wait` runs out) and keeps them.
    bool finish(std::chrono::milliseconds wait);
    std::optional<double> value(const QByteArray &name) const;
    // Ends the program (SIGTERM, then SIGKILL) and reaps it; its exit status, -1 when killed.
    int stop();
    int exitStatus() const { return m_status; }

private:
    bool reap(std::chrono::milliseconds wait);

    pid_t m_pid = -1;
    int m_out = -1;
    int m_status = -1;
    QByteArray m_buffer;
    QList<QPair<QByteArray, double>> m_values;
    QString m_home;
};

// Readings of /proc for a running process.
namespace proc {
// CPU time of all of the process's threads now alive, in milliseconds.
double cpuMs(pid_t pid);
// Context switches summed over all of its threads. A voluntary one is a thread going to sleep,
// so it counts the wake-ups; an involuntary one is the scheduler handing the core to another
// process that woke, the service or the bench itself, while the thread ran anyway.
struct Switches
{
    qint64 voluntary = 0;
    qint64 involuntary = 0;
};
Switches switches(pid_t pid);
// A "Vm..." field of its status in KiB; -1 when gone.
qint64 statusKiB(pid_t pid, const char *field);
// The process and all its descendants.
QList<pid_t> tree(pid_t root);
} // namespace proc

QString cpuModel();
int cores();

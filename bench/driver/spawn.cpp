#include "spawn.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

double monotonicMs()
{
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) / 1e6;
}

} // namespace

Child::~Child()
{
    if (m_pid > 0)
        stop();
    if (m_out >= 0)
        close(m_out);
    if (!m_home.isEmpty())
        QDir(m_home).removeRecursively();
}

bool Child::start(const QString &program, const QStringList &arguments, const QStringList &environment,
                  bool quiet)
{
    QTemporaryDir home(QDir::tempPath() + QStringLiteral("/kelvra-bench-XXXXXX"));
    if (!home.isValid())
        return false;
    home.setAutoRemove(false);
    m_home = home.path();
    QDir(m_home).mkpath(QStringLiteral("run"));
    QFile::setPermissions(m_home + QStringLiteral("/run"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    // Everything the child needs is made before fork(): after it only exec-safe calls remain.
    QList<QByteArray> env;
    for (char **e = environ; *e; ++e) {
        const QByteArray entry(*e);
        if (!entry.startsWith("HOME=") && !entry.startsWith("XDG_") && !entry.startsWith("KELVRA_BENCH_T0="))
            env.append(entry);
    }
    env.append("HOME=" + m_home.toLocal8Bit());
    env.append("XDG_RUNTIME_DIR=" + m_home.toLocal8Bit() + "/run");
    for (const QString &entry : environment)
        env.append(entry.toLocal8Bit());
    QByteArray stamp("KELVRA_BENCH_T0=00000000000000000000");
    env.append(stamp);
    QList<QByteArray> args{program.toLocal8Bit()};
    for (const QString &a : arguments)
        args.append(a.toLocal8Bit());
    std::vector<char *> argv, envp;
    for (QByteArray &a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    for (QByteArray &e : env)
        envp.push_back(e.data());
    envp.push_back(nullptr);
    char *digits = env.last().data() + std::strlen("KELVRA_BENCH_T0=");

    const int nothing = quiet ? open("/dev/null", O_WRONLY | O_CLOEXEC) : -1;
    int pipeFds[2];
    if (pipe2(pipeFds, O_CLOEXEC) != 0)
        return false;
    const pid_t pid = fork();
    if (pid < 0)
        return false;
    if (pid == 0) {
        dup2(pipeFds[1], STDOUT_FILENO);
        if (nothing >= 0)
            dup2(nothing, STDERR_FILENO);
        timespec ts{};
        clock_gettime(CLOCK_MONOTONIC, &ts);
        unsigned long long ns =
            (unsigned long long)ts.tv_sec * 1000000000ULL + (unsigned long long)ts.tv_nsec;
        for (int i = 19; i >= 0; --i, ns /= 10)
            digits[i] = char('0' + ns % 10);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    close(pipeFds[1]);
    if (nothing >= 0)
        close(nothing);
    m_out = pipeFds[0];
    m_pid = pid;
    m_status = -1;
    return true;
}

std::optional<QByteArray> Child::line(std::chrono::milliseconds wait)
{
    const double deadline = monotonicMs() + double(wait.count());
    for (;;) {
        const qsizetype end = m_buffer.indexOf('\n');
        if (end >= 0) {
            const QByteArray got = m_buffer.left(end);
            m_buffer.remove(0, end + 1);
            return got;
        }
        if (m_out < 0)
            return std::nullopt;
        const double left = deadline - monotonicMs();
        if (left <= 0)
            return std::nullopt;
        pollfd fd{m_out, POLLIN, 0};
        if (poll(&fd, 1, int(left) + 1) <= 0)
            continue;
        char chunk[4096];
        const ssize_t got = read(m_out, chunk, sizeof chunk);
        if (got <= 0) {
            close(m_out);
            m_out = -1;
            if (!m_buffer.isEmpty() && !m_buffer.endsWith('\n'))
                m_buffer.append('\n');
            continue;
        }
        m_buffer.append(chunk, got);
    }
}

bool Child::finish(std::chrono::milliseconds wait)
{
    const double deadline = monotonicMs() + double(wait.count());
    while (const auto got =
               line(std::chrono::milliseconds(qint64(std::max(0.0, deadline - monotonicMs()))))) {
        const QList<QByteArray> parts = got->split(' ');
        bool ok = false;
        const double v = parts.size() == 2 ? parts[1].toDouble(&ok) : 0;
        if (ok)
            m_values.append({parts[0], v});
    }
    const bool ended =
        m_out < 0 && reap(std::chrono::milliseconds(qint64(std::max(0.0, deadline - monotonicMs())) + 1000));
    if (!ended)
        stop();
    return ended && m_status == 0;
}

std::optional<double> Child::value(const QByteArray &name) const
{
    for (const auto &[key, v] : m_values) {
        if (key == name)
            return v;
    }
    return std::nullopt;
}

bool Child::reap(std::chrono::milliseconds wait)
{
    const double deadline = monotonicMs() + double(wait.count());
    while (m_pid > 0) {
        int status = 0;
        const pid_t got = waitpid(m_pid, &status, WNOHANG);
        if (got == m_pid) {
            m_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            m_pid = -1;
            return true;
        }
        if (monotonicMs() > deadline)
            return false;
        QThread::msleep(5);
    }
    return true;
}

int Child::stop()
{
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        if (!reap(std::chrono::milliseconds(3000))) {
            kill(m_pid, SIGKILL);
            reap(std::chrono::milliseconds(3000));
        }
    }
    return m_status;
}

namespace proc {

double cpuMs(pid_t pid)
{
    // Nanoseconds on a CPU per thread (schedstat's first field): finer than the clock ticks of
    // /proc/PID/stat, which count in 10 ms steps.
    double ns = 0;
    bool any = false;
    const QStringList tasks =
        QDir(QStringLiteral("/proc/%1/task").arg(pid)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &task : tasks) {
        const QByteArray stat = readFile(QStringLiteral("/proc/%1/task/%2/schedstat").arg(pid).arg(task));
        if (stat.isEmpty())
            continue;
        ns += stat.split(' ').first().toDouble();
        any = true;
    }
    return any ? ns / 1e6 : -1;
}

Switches switches(pid_t pid)
{
    Switches total;
    const QStringList tasks =
        QDir(QStringLiteral("/proc/%1/task").arg(pid)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &task : tasks) {
        const QByteArray status = readFile(QStringLiteral("/proc/%1/task/%2/status").arg(pid).arg(task));
        for (const QByteArray &line : status.split('\n')) {
            const qint64 count = line.mid(line.indexOf(':') + 1).trimmed().toLongLong();
            if (line.startsWith("voluntary_ctxt_switches:"))
                total.voluntary += count;
            else if (line.startsWith("nonvoluntary_ctxt_switches:"))
                total.involuntary += count;
        }
    }
    return total;
}

qint64 statusKiB(pid_t pid, const char *field)
{
    const QByteArray key = QByteArray(field) + ':';
    for (const QByteArray &line : readFile(QStringLiteral("/proc/%1/status").arg(pid)).split('\n')) {
        if (line.startsWith(key))
            return line.mid(key.size()).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

QList<pid_t> tree(pid_t root)
{
    QMultiHash<pid_t, pid_t> children;
    const QStringList all = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &name : all) {
        bool ok = false;
        const pid_t pid = pid_t(name.toInt(&ok));
        if (!ok)
            continue;
        const QByteArray stat = readFile(QStringLiteral("/proc/%1/stat").arg(pid));
        const qsizetype close = stat.lastIndexOf(')');
        if (close < 0)
            continue;
        const QList<QByteArray> fields = stat.mid(close + 2).split(' ');
        if (fields.size() > 1)
            children.insert(pid_t(fields[1].toInt()), pid);
    }
    QList<pid_t> found{root};
    for (qsizetype i = 0; i < found.size(); ++i)
        found.append(children.values(found[i]));
    return found;
}

} // namespace proc

QString cpuModel()
{
    for (const QByteArray &line : readFile(QStringLiteral("/proc/cpuinfo")).split('\n')) {
        if (line.startsWith("model name"))
            return QString::fromUtf8(line.mid(line.indexOf(':') + 1).trimmed());
    }
    return QStringLiteral("unknown");
}

int cores()
{
    return int(sysconf(_SC_NPROCESSORS_ONLN));
}

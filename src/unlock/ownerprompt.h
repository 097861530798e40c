#pragma once

#include "unlock/secretbuffer.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

#include <functional>

// What an authentication asks of the person at the keyboard, for a dialog to lay out. The
// backend feeds it from the system's authentication stack; the dialog answers or cancels.
// Lives on the GUI thread.
class OwnerPrompt : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("An owner authentication opens its own prompt")
    // Why the app asks, e.g. "Open your Kelvra owner portal".
    Q_PROPERTY(QString reason READ reason CONSTANT)
    // The computer account whose password is asked for, by its user name; may be empty.
    Q_PROPERTY(QString user READ user CONSTANT)
    // Says whose password this is, so that nobody takes it for a password of the service.
    Q_PROPERTY(QString whose READ whose CONSTANT)
    // The stack's question, e.g. "Password: ".
    Q_PROPERTY(QString message READ message NOTIFY messageChanged)
    // What the answer's field is called: the question and the account, e.g. "Password for ada".
    Q_PROPERTY(QString fieldName READ fieldName NOTIFY messageChanged)
    // The stack's hints and errors since the last answer, oldest first.
    Q_PROPERTY(QStringList info READ info NOTIFY infoChanged)
    // The same lines as one text, one per line, for a label.
    Q_PROPERTY(QString infoText READ infoText NOTIFY infoChanged)
    // Whether the answer must be hidden while typed.
    Q_PROPERTY(bool secret READ secret NOTIFY secretChanged)
    // The stack is working (checking an answer, a fail delay, a fingerprint reader); no answer is
    // taken meanwhile.
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    // False once the authentication has ended, whichever way.
    Q_PROPERTY(bool open READ open NOTIFY openChanged)

public:
    OwnerPrompt(const QString &reason, const QString &user, std::function<void(SecretBuffer)> answered,
                std::function<void()> cancelled, QObject *parent = nullptr);

    const QString &reason() const { return m_reason; }
    const QString &user() const { return m_user; }
    QString whose() const;
    QString fieldName() const;
    const QString &message() const { return m_message; }
    const QStringList &info() const { return m_info; }
    QString infoText() const { return m_info.join(u'\n'); }
    bool secret() const { return m_secret; }
    bool busy() const { return m_busy; }
    bool open() const { return m_open; }

    // Hands the text to the stack, once per question; ignored while busy or closed. The text is
    // converted once into a SecretBuffer and not kept.
    Q_INVOKABLE void answer(const QString &text);
    // Ends the authentication as not authenticated; ignored once closed.
    Q_INVOKABLE void cancel();

    // The backend's side.
    void ask(const QString &message, bool secret);
    void tell(const QString &line);
    void close();

signals:
    void messageChanged();
    void infoChanged();
    void secretChanged();
    void busyChanged();
    void openChanged();

private:
    void setBusy(bool busy);

    const QString m_reason;
    const QString m_user;
    std::function<void(SecretBuffer)> m_answered;
    std::function<void()> m_cancelled;
    QString m_message;
    QStringList m_info;
    bool m_secret = true;
    bool m_busy = true;
    bool m_open = true;
};

#pragma once

#include <QUrl>

// Opens a web address in the system browser. The app uses the desktop's handler; tests record.
class UrlOpener
{
public:
    virtual ~UrlOpener() = default;
    virtual void open(const QUrl &url) = 0;
};

class DesktopUrlOpener : public UrlOpener
{
public:
    void open(const QUrl &url) override;
};

#pragma once

#include <QString>

// The service origin this build talks to: "https://" and a host name (a development build may
// use a loopback origin instead). Chosen when the program is built; nothing changes it later.
const QString &site();

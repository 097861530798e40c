#include "site.h"

#include "siteconfig.h"

const QString &site()
{
    static const QString origin = QStringLiteral(KELVRA_SITE_ORIGIN);
    return origin;
}

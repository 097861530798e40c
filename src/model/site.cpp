#include "model/site.h"

#include "model/siteconfig.h"

const QString &site()
{
    static const QString origin = QStringLiteral(KELVRA_SITE_ORIGIN);
    return origin;
}

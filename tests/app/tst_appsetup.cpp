#include "app/appsetup.h"

#include <QHash>
#include <QTest>

using Environment = QHash<QByteArray, QByteArray>;
Q_DECLARE_METATYPE(Environment)

class TestAppSetup : public QObject
{
    Q_OBJECT

private slots:
    void sceneGraphBackend_data()
    {
        QTest::addColumn<Environment>("environment");
        QTest::addColumn<QStringList>("devices");
        QTest::addColumn<QString>("backend");
        const QStringList drm{"/dev/dri/card0", "/dev/dri/renderD128"};
        const QString software("software");
        QTest::newRow("a DRM device") << Environment{} << drm << QString();
        QTest::newRow("NVIDIA's device") << Environment{} << QStringList{"/dev/nvidiactl"} << QString();
        QTest::newRow("no device") << Environment{} << QStringList{} << software;
        QTest::newRow("Mesa told to draw on the CPU")
            << Environment{{"LIBGL_ALWAYS_SOFTWARE", "1"}} << drm << software;
        QTest::newRow("told so in words")
            << Environment{{"LIBGL_ALWAYS_SOFTWARE", "True"}} << drm << software;
        QTest::newRow("told not to") << Environment{{"LIBGL_ALWAYS_SOFTWARE", "false"}} << drm << QString();
        QTest::newRow("llvmpipe") << Environment{{"GALLIUM_DRIVER", "llvmpipe"}} << drm << software;
        QTest::newRow("softpipe") << Environment{{"GALLIUM_DRIVER", "softpipe"}} << drm << software;
        QTest::newRow("a GPU's driver") << Environment{{"GALLIUM_DRIVER", "radeonsi"}} << drm << QString();
        // A renderer the user names is Qt's to load, whatever the devices.
        for (const char *named : {"QT_QUICK_BACKEND", "QMLSCENE_DEVICE", "QSG_RHI_BACKEND"}) {
            QTest::addRow("%s, no device", named)
                << Environment{{named, "rhi"}} << QStringList{} << QString();
            QTest::addRow("%s and llvmpipe", named)
                << Environment{{named, "opengl"}, {"GALLIUM_DRIVER", "llvmpipe"}} << drm << QString();
        }
    }

    void sceneGraphBackend()
    {
        QFETCH(Environment, environment);
        QFETCH(QStringList, devices);
        QFETCH(QString, backend);
        QCOMPARE(::sceneGraphBackend([&](const char *name) { return environment.value(name); }, devices),
                 backend);
    }
};

QTEST_GUILESS_MAIN(TestAppSetup)
#include "tst_appsetup.moc"

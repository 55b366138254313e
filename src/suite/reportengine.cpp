#include "reportengine.h"

#include "selectionformula.h"

#include "platform/database/connection.h"
#include "platform/runtime/errors.h"
#include "platform/runtime/savefile.h"
#include "platform/ui/seams.h"

#include <QAction>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QPageLayout>
#include <QPageSize>
#include <QPdfWriter>
#include <QPrintPreviewDialog>
#include <QPrintPreviewWidget>
#include <QPrinter>
#include <QScreen>
#include <QSettings>
#include <QStandardPaths>
#include <QToolBar>
#include <QUrl>

#include <memory>

namespace suite {

namespace {

const QString Source = QStringLiteral("Crystal.CRPE.Application");
constexpr int CannotOpenServer = 20599;
constexpr int CannotExport = 20545;
constexpr qint32 Maximised = 0x01000000;

void setUpPage(QPagedPaintDevice &device)
{
    device.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait,
                                     QMarginsF(15, 12, 15, 12), QPageLayout::Millimeter));
}

// A configuration file whose data source carries a password is refused while others may read it.
void requirePrivate(const QString &file, const QSettings &group)
{
    bool password = false;
    for (const QString &key : group.childKeys()) {
        // password=..., PWD=... or a URL with a password in it: whatever the masking would hide.
        const QString line = key + QLatin1Char('=') + group.value(key).toString();
        password =
            password || (!group.value(key).toString().isEmpty() && platform::maskSecrets(line) != line);
    }
    if (password && (QFileInfo(file).permissions() & (QFileDevice::ReadGroup | QFileDevice::ReadOther)))
        platform::Raise(CannotOpenServer, Source,
                        QStringLiteral("Cannot open SQL server: %1 holds a password and others may read it "
                                       "(chmod 600 %1)")
                            .arg(file));
}

// A data source of unixODBC: the user's odbc.ini ($ODBCINI, else ~/.odbc.ini), then the system's
// ($ODBCSYSINI/odbc.ini, else /etc/odbc.ini). Found, it gives "odbc:NAME" when the data source carries its
// own user (which wins), else a connection string with the caller's user and password.
QString odbcDataSource(const QString &server, const QString &user, const QString &password, QString *foundIn)
{
    if (server.isEmpty())
        return QString();
    QString userFile = qEnvironmentVariable("ODBCINI");
    if (userFile.isEmpty())
        userFile = QDir::homePath() + QStringLiteral("/.odbc.ini");
    QString systemFolder = qEnvironmentVariable("ODBCSYSINI");
    if (systemFolder.isEmpty())
        systemFolder = QStringLiteral("/etc");
    for (const QString &file : QStringList{userFile, systemFolder + QStringLiteral("/odbc.ini")}) {
        if (!QFileInfo::exists(file))
            continue;
        QSettings sources(file, QSettings::IniFormat);
        for (const QString &group : sources.childGroups()) {
            if (group.compare(server, Qt::CaseInsensitive) != 0)
                continue;
            sources.beginGroup(group);
            requirePrivate(file, sources);
            bool ownUser = false;
            for (const QString &key : sources.childKeys()) {
                const QString k = key.toLower();
                ownUser = ownUser || ((k == QLatin1String("uid") || k == QLatin1String("username") ||
                                       k == QLatin1String("user")) &&
                                      !sources.value(key).toString().isEmpty());
            }
            if (foundIn)
                *foundIn = file;
            if (ownUser || user.isEmpty())
                return QStringLiteral("odbc:") + group;
            return QStringLiteral("odbc://") + QString::fromUtf8(QUrl::toPercentEncoding(user)) +
                   QLatin1Char(':') + QString::fromUtf8(QUrl::toPercentEncoding(password)) +
                   QLatin1Char('@') + group;
        }
    }
    return QString();
}

// A file that cannot be written is said before the report is read and laid out; the file itself is left
// alone until the new one is whole.
void requireWritable(const QString &path)
{
    const QFileInfo target(path);
    const QFileInfo folder(target.absolutePath());
    if (target.isDir() || (target.exists() && !target.isWritable()) || !folder.isDir() ||
        !folder.isWritable())
        platform::Raise(CannotExport, Source, QStringLiteral("Cannot write the report to ") + path);
}

int writePdf(const ReportDocument &document, const QString &path)
{
    int pages = 0;
    try {
        platform::saveWhole(path, [&](QIODevice &file) {
            QPdfWriter writer(&file);
            writer.setResolution(300);
            writer.setTitle(document.textSlots.value(0));
            writer.setCreator(Source);
            setUpPage(writer);
            pages = document.paint(writer);
        });
    } catch (const platform::RuntimeError &e) {
        if (e.number() != platform::FileAccessError)
            throw;
        platform::Raise(CannotExport, Source, QStringLiteral("Cannot write the report to ") + path);
    }
    return pages;
}

// Position and size 0: three quarters of the screen the calling window is on, centred there, so that a
// restored preview shows a page wide enough to read.
QRect defaultPlace()
{
    const QWidget *caller = platform::placementWindow();
    const QScreen *screen = caller ? caller->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return QRect(0, 0, 1024, 768);
    const QRect area = screen->availableGeometry();
    QRect place(QPoint(), area.size() * 3 / 4);
    place.moveCenter(area.center());
    return place;
}

// The page as wide as the window, rather than whole and small; through the window's own action, so that its
// toolbar shows the choice.
void fitWidth(QPrintPreviewDialog &preview)
{
    const QList<QAction *> actions = preview.findChildren<QAction *>();
    for (QAction *action : actions) {
        if (action->objectName() == QLatin1String("fitWidthAction")) {
            action->trigger();
            return;
        }
    }
    if (auto *pages = preview.findChild<QPrintPreviewWidget *>())
        pages->setZoomMode(QPrintPreviewWidget::FitToWidth);
}

} // namespace

// ---- Report ------------------------------------------------------------------------------------------

Report::Report(ReportEngine *engine, const QString &path) : QObject(engine), m_engine(engine)
{
    m_document.load(path);
}

void Report::setTextSlot(int position, const QString &text)
{
    if (position < 1 || position > m_document.textSlots.size())
        platform::Raise(9, Source, QStringLiteral("Subscript out of range"));
    m_document.textSlots[position - 1] = text;
}

void Report::setRecordSelectionFormula(const QString &formula)
{
    // Checked here, so that a wrong formula is reported where it is set.
    translateSelectionFormula(formula, m_document.tables());
    m_formula = formula;
}

void Report::setPrintWindowOption(int dispatchId, bool on)
{
    m_windowOptions.insert(dispatchId, on);
}

int Report::build()
{
    return m_document.build(m_engine->connection(), m_formula);
}

void Report::ExportPdf(const QString &path)
{
    requireWritable(path);
    build();
    m_pages = writePdf(m_document, path);
}

void Report::Preview(const QString &title, int left, int top, int width, int height, qint32 windowStyle)
{
    build();
    auto *printer = new QPrinter(QPrinter::HighResolution);
    setUpPage(*printer);
    auto *preview = new QPrintPreviewDialog(printer);
    preview->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(preview, &QObject::destroyed, [printer] { delete printer; });
    preview->setObjectName(QStringLiteral("ReportPreview"));
    preview->setWindowTitle(title);
    // The normal place is set before the state: it is what a restored (or never maximised) window shows.
    if (width > 0 && height > 0)
        preview->setGeometry(left, top, width, height);
    else
        preview->setGeometry(defaultPlace());
    if (windowStyle & Maximised)
        preview->setWindowState(Qt::WindowMaximized);
    fitWidth(*preview);
    // One copy of the laid-out data for the window's painting and its PDF, however long the register.
    const auto document = std::make_shared<const ReportDocument>(m_document);
    QObject::connect(preview, &QPrintPreviewDialog::paintRequested, preview,
                     [document](QPrinter *target) { document->paint(*target); });
    // The toolbar also saves the report as PDF.
    if (auto *toolbar = preview->findChild<QToolBar *>()) {
        QAction *pdf = toolbar->addAction(QStringLiteral("Save as PDF"));
        pdf->setObjectName(QStringLiteral("savePdf"));
        pdf->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_S));
        QObject::connect(pdf, &QAction::triggered, preview, [document, preview] {
            const QString file =
                platform::ShowSave({QStringLiteral("Save the report as PDF"),
                                    QStringLiteral("PDF Files (*.pdf)|*.pdf"), QStringLiteral("pdf")},
                                   preview);
            if (file.isEmpty())
                return;
            platform::Trap(
                [&] {
                    requireWritable(file);
                    writePdf(*document, file);
                },
                [preview](const platform::RuntimeError &e) {
                    platform::MsgBox(e.description(), platform::vb::OKOnly | platform::vb::Critical,
                                     preview->windowTitle());
                });
        });
    }
    platform::showModal(preview);
}

// ---- Engine ------------------------------------------------------------------------------------------

ReportEngine::ReportEngine(QObject *parent) : QObject(parent) {}

ReportEngine::~ReportEngine() = default;

QString ReportEngine::dataSourceUrl(const QString &server, const QString &user, const QString &password,
                                    QString *foundIn)
{
    const QString odbc = odbcDataSource(server, user, password, foundIn);
    if (!odbc.isEmpty())
        return odbc;
    const QString file = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                         QStringLiteral("/agreement-register/datasources.ini");
    if (!server.isEmpty() && QFileInfo::exists(file)) {
        QSettings sources(file, QSettings::IniFormat);
        for (const QString &group : sources.childGroups()) {
            if (group.compare(server, Qt::CaseInsensitive) != 0)
                continue;
            sources.beginGroup(group);
            requirePrivate(file, sources);
            QUrl url(sources.value(QStringLiteral("url")).toString());
            // The site's own credentials win over what the program passes.
            const QString siteUser = sources.value(QStringLiteral("user")).toString();
            const QString sitePassword = sources.value(QStringLiteral("password")).toString();
            if (url.scheme().startsWith(QLatin1String("postgres"))) {
                if (!siteUser.isEmpty())
                    url.setUserName(siteUser);
                else if (url.userName().isEmpty() && !user.isEmpty())
                    url.setUserName(user);
                if (!sitePassword.isEmpty())
                    url.setPassword(sitePassword);
                else if (url.password().isEmpty() && !password.isEmpty() && siteUser.isEmpty())
                    url.setPassword(password);
            }
            if (foundIn)
                *foundIn = file;
            return url.toString();
        }
    }
    if (foundIn)
        *foundIn = QStringLiteral("host");
    return platform::hostDatabaseUrl();
}

void ReportEngine::LogOnServer(const QString &dllName, const QString &server, const QString &database,
                               const QString &user, const QString &password)
{
    Q_UNUSED(dllName);
    Q_UNUSED(database);
    const QString url = dataSourceUrl(server, user, password);
    if (url.isEmpty())
        platform::Raise(CannotOpenServer, Source,
                        QStringLiteral("Cannot open SQL server: no data source named ") + server);
    auto con = std::make_unique<platform::Connection>();
    try {
        con->Open(url);
    } catch (const platform::RuntimeError &e) {
        platform::Raise(CannotOpenServer, Source,
                        QStringLiteral("Cannot open SQL server ") + platform::printableUrl(url) +
                            QStringLiteral(": ") + e.description());
    }
    m_connection = std::move(con);
}

agr::IReport *ReportEngine::OpenReport(const QString &path)
{
    QString file = path;
    file.replace(QLatin1Char('\\'), QLatin1Char('/'));
    // An installed program keeps its reports with its data, apart from the module's folder, which the
    // module names: a report missing there is looked for among the installed ones.
    if (!QFileInfo::exists(file)) {
        const QString installed = QCoreApplication::applicationDirPath() % QLatin1Char('/') %
                                  QLatin1String(AGR_REPORTS_FROM_PROGRAM) % QLatin1Char('/') %
                                  QFileInfo(file).fileName();
        if (QFileInfo::exists(installed))
            file = QDir::cleanPath(installed);
    }
    return new Report(this, file);
}

platform::Connection &ReportEngine::connection()
{
    if (!m_connection)
        LogOnServer(QString(), QString(), QString(), QString(), QString());
    return *m_connection;
}

} // namespace suite

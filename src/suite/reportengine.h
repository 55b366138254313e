#pragma once
// Crystal.CRPE.Application: the print engine. It logs on to a data source of its own, opens report files
// of our definition format, and shows a report in a print preview (zoom, pages, print, PDF) or writes it as
// PDF without a window.
//
// Log-on: the server name is looked up in the installation's data sources (the XDG config folder's
// agreement-register/datasources.ini: [name] url=..., user=..., password=...; a user or password given there
// wins over the caller's); where none names it, the database the host opened is used.

#include "data/contracts.h"
#include "reportdocument.h"

#include <QHash>
#include <QObject>
#include <memory>

namespace platform {
class Connection;
}

namespace suite {

class ReportEngine;

class Report : public QObject, public agr::IReport
{
    Q_OBJECT
public:
    Report(ReportEngine *engine, const QString &path);

    void setTextSlot(int position, const QString &text) override;
    void setRecordSelectionFormula(const QString &formula) override;
    void setPrintWindowOption(int dispatchId, bool on) override;
    void Preview(const QString &title, int left, int top, int width, int height, qint32 windowStyle) override;
    void ExportPdf(const QString &path) override;

    QString recordSelectionFormula() const { return m_formula; }
    // The pages the last export wrote.
    int pageCount() const { return m_pages; }
    const ReportDocument &document() const { return m_document; }
    // Reads the report's data as the selection formula says; returns the record count.
    int build();

private:
    ReportEngine *m_engine;
    ReportDocument m_document;
    QString m_formula;
    QHash<int, bool> m_windowOptions;
    int m_pages = 0;
};

class ReportEngine : public QObject, public agr::IReportEngine
{
    Q_OBJECT
    Q_INTERFACES(agr::IReportEngine)
public:
    explicit ReportEngine(QObject *parent = nullptr);
    ~ReportEngine() override;

    void LogOnServer(const QString &dllName, const QString &server, const QString &database,
                     const QString &user, const QString &password) override;
    agr::IReport *OpenReport(const QString &path) override;

    // The data source logged on to; logs on to the host's database when nobody logged on yet.
    platform::Connection &connection();
    // The database URL a server name stands for, and where that was found ("datasources.ini", "host").
    static QString dataSourceUrl(const QString &server, const QString &user, const QString &password,
                                 QString *foundIn = nullptr);

private:
    std::unique_ptr<platform::Connection> m_connection;
};

} // namespace suite

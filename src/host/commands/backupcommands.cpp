#include "host/commands/backupcommands.h"

#include "host/hostsupport.h"
#include "host/options.h"

#include "data/schema.h"
#include "platform/database/connection.h"
#include "platform/database/dialect.h"
#include "platform/runtime/errors.h"

#include <QFile>
#include <QFileInfo>

namespace host {

namespace {

QString fileOption(const QCommandLineParser &parser, const QString &name, const char *command)
{
    const QString value = parser.value(name);
    if (value.isEmpty())
        throw Failure(QStringLiteral("%1: give the file with --%2 FILE").arg(QLatin1String(command), name),
                      ExitUsage);
    return QFileInfo(value).absoluteFilePath();
}

QString agreementsIn(platform::Connection &con)
{
    if (!con.dialect().tableExists(con, QStringLiteral("agreementregister")))
        return QStringLiteral("no register");
    platform::Recordset rs = con.Execute(QStringLiteral("select count(*) from agreementregister"));
    return QStringLiteral("%1 agreements").arg(rs.Fields(0).Value().toLongLong());
}

} // namespace

int backup(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Writes a consistent copy of the database while clerks keep working: on SQLite with its online "
        "backup, checked for integrity; on PostgreSQL with pg_dump in its custom format. The file appears "
        "only when the copy is whole."));
    parser.addPositionalArgument(QStringLiteral("backup"), QStringLiteral("The command."));
    parser.addOption(databaseOption());
    parser.addOption({QStringLiteral("out"),
                      QStringLiteral("The backup file to write (replaced when it exists)."),
                      QStringLiteral("file")});
    parseArguments(parser, arguments);
    noMorePositionals(parser, 1);
    const QString out = fileOption(parser, QStringLiteral("out"), "backup");
    const QString url = databaseUrl(parser);

    platform::Connection con;
    con.setStatementLogEnabled(false);
    openDatabase(con, url, false);
    QString contents;
    try {
        contents = agreementsIn(con);
        con.dialect().backup(con, out);
    } catch (const platform::RuntimeError &e) {
        throw Failure(QStringLiteral("backup of %1 failed: %2")
                          .arg(platform::printableUrl(url), oneLine(e.description())));
    }
    // Concatenated: a URL may hold percent signs that arg() would take for its own markers.
    printOut(QStringLiteral("Backed up ") % platform::printableUrl(url) % QStringLiteral(" (") % contents %
             QStringLiteral(") to ") % out % QStringLiteral(", ") % QString::number(QFileInfo(out).size()) %
             QStringLiteral(" bytes."));
    return 0;
}

int restore(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Restores a backup made by the backup command into a database of the same kind, all or nothing. "
        "It refuses a database that already holds tables unless --replace is given."));
    parser.addPositionalArgument(QStringLiteral("restore"), QStringLiteral("The command."));
    parser.addOption({QStringLiteral("in"), QStringLiteral("The backup file."), QStringLiteral("file")});
    parser.addOption(databaseOption());
    parser.addOption({QStringLiteral("replace"),
                      QStringLiteral("Put the backup in the place of what the database holds.")});
    parseArguments(parser, arguments);
    noMorePositionals(parser, 1);
    const QString in = fileOption(parser, QStringLiteral("in"), "restore");
    const bool replace = parser.isSet(QStringLiteral("replace"));
    const QString url = databaseUrl(parser);
    if (!QFileInfo(in).isFile())
        throw Failure(QStringLiteral("restore: no backup file ") + in);

    // A new SQLite file is made for the restore, and removed again when the restore fails.
    const QString file = platform::sqliteFileOf(url);
    const bool newFile = !file.isEmpty() && !QFileInfo::exists(file);
    if (!file.isEmpty() && QFileInfo(file).canonicalFilePath() == QFileInfo(in).canonicalFilePath())
        throw Failure(QStringLiteral("restore: the backup file is the database itself"), ExitUsage);
    platform::Connection con;
    con.setStatementLogEnabled(false);
    openDatabase(con, url, true);
    int version = 0;
    QString contents;
    try {
        if (!replace && con.dialect().holdsTables(con))
            throw Failure(QStringLiteral("the database %1 is not empty: restore into an empty one, or give "
                                         "--replace to put the backup in its place")
                              .arg(platform::printableUrl(url)));
        con.dialect().restore(con, in);
        version = agr::schema::StoredSchemaVersion(con);
        contents = agreementsIn(con);
    } catch (const platform::RuntimeError &e) {
        con.Close();
        if (newFile)
            QFile::remove(file);
        throw Failure(QStringLiteral("restore into %1 failed: %2")
                          .arg(platform::printableUrl(url), oneLine(e.description())));
    } catch (const Failure &) {
        con.Close();
        if (newFile)
            QFile::remove(file);
        throw;
    }
    printOut(QStringLiteral("Restored ") % in % QStringLiteral(" into ") % platform::printableUrl(url) %
             QStringLiteral(": ") % contents % QStringLiteral(", schema version ") %
             QString::number(version) % QLatin1Char('.'));
    const QString newer = agr::schema::NewerSchemaText(version);
    if (!newer.isEmpty())
        throw Failure(platform::printableUrl(url) % QStringLiteral(": ") % newer);
    if (version < agr::schema::SchemaVersion())
        printOut(QStringLiteral("The backup was made by an older version: upgrade it with "
                                "agreement-register init-db --database %1")
                     .arg(platform::printableUrl(url)));
    return 0;
}

} // namespace host

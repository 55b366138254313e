// The layering of the tree: every include of every source file under src/ names its own room, a room
// docs/layering.txt lets it use, or a header the table names; an include that runs back up fails here.

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QTest>

namespace {

struct Layering
{
    QMap<QString, QStringList> allowed; // room -> rooms and headers it may include
    QString error;

    // The deepest room listed that holds path (relative to src/), "" for none.
    QString roomOf(const QString &path) const
    {
        QString best;
        for (auto it = allowed.keyBegin(); it != allowed.keyEnd(); ++it) {
            if (path.startsWith(*it + QLatin1Char('/')) && it->size() > best.size())
                best = *it;
        }
        return best;
    }

    bool mayUse(const QString &room, const QString &header) const
    {
        const QString target = roomOf(header);
        if (target == room)
            return true;
        for (const QString &entry : allowed.value(room)) {
            if (header == entry || target == entry || target.startsWith(entry + QLatin1Char('/')))
                return true;
        }
        return false;
    }
};

Layering readLayering(const QString &file)
{
    Layering table;
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly | QIODevice::Text)) {
        table.error = QStringLiteral("cannot read ") + file;
        return table;
    }
    int number = 0;
    while (!in.atEnd()) {
        ++number;
        const QString line = QString::fromUtf8(in.readLine()).section(QLatin1Char('#'), 0, 0).trimmed();
        if (line.isEmpty())
            continue;
        const qsizetype colon = line.indexOf(QLatin1Char(':'));
        if (colon <= 0) {
            table.error = QStringLiteral("%1:%2: no room before a colon").arg(file).arg(number);
            return table;
        }
        table.allowed.insert(line.left(colon).trimmed(),
                             line.mid(colon + 1).split(QLatin1Char(' '), Qt::SkipEmptyParts));
    }
    return table;
}

// The project's includes of a file ("..." only), each resolved to a path relative to src/ as the
// compiler finds it: beside the including file first, then from src/. Includes of generated files
// (a .moc) resolve to nothing and are left out.
QStringList includesOf(const QDir &src, const QString &file)
{
    static const QRegularExpression include(QStringLiteral("^\\s*#\\s*include\\s*\"([^\"]+)\""),
                                            QRegularExpression::MultilineOption);
    QFile in(src.filePath(file));
    if (!in.open(QIODevice::ReadOnly))
        return {QStringLiteral("<unreadable>")};
    const QString text = QString::fromUtf8(in.readAll());
    const QString folder = QFileInfo(file).path();
    QStringList result;
    for (auto it = include.globalMatch(text); it.hasNext();) {
        const QString name = it.next().captured(1);
        const QString beside = QDir::cleanPath(folder + QLatin1Char('/') + name);
        if (QFileInfo::exists(src.filePath(beside)))
            result << beside;
        else if (QFileInfo::exists(src.filePath(name)))
            result << QDir::cleanPath(name);
    }
    return result;
}

} // namespace

class tst_layering : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void includesKeepToTheTable();
};

void tst_layering::includesKeepToTheTable()
{
    const QDir root(QStringLiteral(AGR_SOURCE_DIR));
    const Layering table = readLayering(root.filePath(QStringLiteral("docs/layering.txt")));
    QVERIFY2(table.error.isEmpty(), qPrintable(table.error));
    QVERIFY(!table.allowed.isEmpty());
    for (auto it = table.allowed.cbegin(); it != table.allowed.cend(); ++it) {
        for (const QString &entry : it.value())
            QVERIFY2(
                QFileInfo::exists(root.filePath(QStringLiteral("src/") + entry)),
                qPrintable(QStringLiteral("docs/layering.txt names %1, which is not in src/").arg(entry)));
    }

    const QDir src(root.filePath(QStringLiteral("src")));
    QStringList wrong;
    int files = 0;
    for (QDirIterator it(src.path(), {QStringLiteral("*.h"), QStringLiteral("*.cpp")}, QDir::Files,
                         QDirIterator::Subdirectories);
         it.hasNext();) {
        const QString file = src.relativeFilePath(it.next());
        ++files;
        const QString room = table.roomOf(file);
        if (room.isEmpty()) {
            wrong << file + QStringLiteral(": in no room of docs/layering.txt");
            continue;
        }
        for (const QString &header : includesOf(src, file)) {
            if (!table.mayUse(room, header))
                wrong << QStringLiteral("%1 (room %2) includes %3 (room %4)")
                             .arg(file, room, header, table.roomOf(header));
        }
    }
    QVERIFY(files > 50);
    QVERIFY2(wrong.isEmpty(), qPrintable(QStringLiteral("\n") + wrong.join(QLatin1Char('\n'))));
}

QTEST_MAIN(tst_layering)
#include "tst_layering.moc"

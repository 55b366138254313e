#include "forms/list/listrefresh.h"

#include "forms/list/frmmaster.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"

namespace agr::bas {

namespace {

// A row of the list grid as the list statement returns it: column c is field c, a null reads as "".
QString fieldText(const platform::Recordset &rs, int column)
{
    return rs.Fields(column).joinEmpty();
}

} // namespace

void ListRefresh(QString &criterion, qint32 &serialNo)
{
    Trap(nullptr, "ListRefresh", [&] {
        FrmMaster *list = frmMasterIfLoaded();
        if (!list || !list->mfgMaster)
            return;
        platform::FlexGrid &grid = *list->mfgMaster;
        const int cols = grid.Cols();

        QString sql = listSql();
        const qsizetype orderBy = sql.indexOf(QLatin1String("order by"));
        if (orderBy >= 0)
            sql.truncate(orderBy);
        sql += (sql.contains(QLatin1String("where")) ? QStringLiteral(" and ") : QStringLiteral(" where ")) +
               criterion;

        platform::Recordset rs;
        rs.Open(sql, *context().connection());
        if (rs.isEOF())
            return;

        if (entryMode() == QLatin1String("E")) {
            const int row = grid.Row();
            for (int c = col(ListCol::Number); c < cols; ++c)
                grid.setTextMatrix(row, c, fieldText(rs, c));
            return;
        }

        // A list that was empty shows one blank row; the new agreement takes its place.
        if (grid.Rows() == 2 && grid.TextMatrix(1, col(ListCol::AgreementId)).isEmpty()) {
            grid.setTextMatrix(1, col(ListCol::AgreementId), QString::number(serialNo));
            for (int c = col(ListCol::Number); c < cols; ++c)
                grid.setTextMatrix(1, c, fieldText(rs, c));
        } else {
            QString line = QString::number(serialNo);
            for (int c = col(ListCol::Number); c < cols; ++c)
                line += QLatin1Char('\t') + fieldText(rs, c);
            grid.AddItem(line);
        }
        list->SelectLastRow();
    });
}

} // namespace agr::bas

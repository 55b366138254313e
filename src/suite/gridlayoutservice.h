#pragma once
// GridLayout.GridLayoutService: column widths kept per user, company and grid (the grid's object name) in
// aGridSettings. fnGridSettings applies what is stored and from then on records every width the user gives
// a column by dragging or double-clicking its header edge. The recording belongs to the grid (a child
// object of it), not to the service, which the module releases right after the call.

#include "data/contracts.h"

#include <QObject>

namespace suite {

class GridLayoutService : public QObject, public agr::IGridLayoutService
{
    Q_OBJECT
    Q_INTERFACES(agr::IGridLayoutService)

public:
    explicit GridLayoutService(QObject *parent = nullptr);

    // Hidden columns (width 0) stay hidden; stored widths of columns the grid does not have are ignored.
    void fnGridSettings(qint16 userId, qint16 companyId, platform::FlexGrid *grid,
                        platform::Connection *&connection) override;
};

} // namespace suite

#pragma once
// ScreenTheme.ThemeService: one calm palette for every form of the suite and its tab strips. Colours of
// single grid cells (cancelled rows are red) are the grid's own and are left alone.

#include "data/contracts.h"

#include <QObject>

namespace suite {

class ThemeService : public QObject, public agr::IThemeService
{
    Q_OBJECT
    Q_INTERFACES(agr::IThemeService)

public:
    explicit ThemeService(QObject *parent = nullptr);

    void ApplyScreenTheme(QWidget *form) override;
    void Applytabcolor(QTabWidget *tabs) override;
};

} // namespace suite

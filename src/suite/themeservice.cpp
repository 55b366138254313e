#include "themeservice.h"

#include "platform/runtime/errors.h"

#include <QApplication>
#include <QColor>
#include <QPalette>
#include <QTabWidget>
#include <QWidget>

namespace suite {

namespace {

const QColor Window(0xF2, 0xF4, 0xF7);
const QColor Text(0x1F, 0x29, 0x37);
const QColor Input(0xFF, 0xFF, 0xFF);
const QColor AlternateInput(0xF7, 0xF9, 0xFB);
const QColor Accent(0x2F, 0x6F, 0xB0);
const QColor Disabled(0x8A, 0x93, 0x9F);

constexpr int PointSize = 9;

// Only buttons, headers and group titles are styled: a rule on table items would paint over the colours
// the grid gives single cells.
const char FormStyle[] = R"(
QPushButton { background-color: #2f6fb0; color: #ffffff; border: 1px solid #285f97; border-radius: 3px;
              padding: 3px 12px; min-height: 18px; }
QPushButton:hover { background-color: #3a7cc0; }
QPushButton:pressed { background-color: #255a90; }
QPushButton:disabled { background-color: #d5dae1; color: #8a939f; border-color: #c3c9d1; }
QPushButton:focus { border: 1px solid #1b4472; }
QHeaderView::section { background-color: #dbe5f0; color: #1f2937; border: none;
                       border-right: 1px solid #c3cfdc; border-bottom: 1px solid #c3cfdc; padding: 2px 4px; }
QGroupBox { font-weight: bold; }
)"
                         // The tab rules travel with the form's sheet: a second sheet on the tab widget
                         // would make Qt polish every page again.
                         R"(
QTabBar::tab { background-color: #e3e8ee; color: #1f2937; border: 1px solid #c3cfdc; border-bottom: none;
               padding: 4px 12px; margin-right: 2px; border-top-left-radius: 3px; border-top-right-radius: 3px; }
QTabBar::tab:selected { background-color: #ffffff; color: #2f6fb0; border-top: 2px solid #2f6fb0; }
QTabBar::tab:hover:!selected { background-color: #eef2f6; }
QTabWidget::pane { border: 1px solid #c3cfdc; background-color: #f2f4f7; top: -1px; }
)";

// Set on a form that carries the theme.
const char ThemedProperty[] = "screenThemeApplied";

QPalette themePalette(QPalette palette)
{
    for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
        palette.setColor(group, QPalette::Window, Window);
        palette.setColor(group, QPalette::WindowText, Text);
        palette.setColor(group, QPalette::Base, Input);
        palette.setColor(group, QPalette::AlternateBase, AlternateInput);
        palette.setColor(group, QPalette::Text, Text);
        palette.setColor(group, QPalette::Button, Window);
        palette.setColor(group, QPalette::ButtonText, Text);
        palette.setColor(group, QPalette::Highlight, Accent);
        palette.setColor(group, QPalette::HighlightedText, Qt::white);
    }
    palette.setColor(QPalette::Disabled, QPalette::Window, Window);
    palette.setColor(QPalette::Disabled, QPalette::Base, Window);
    palette.setColor(QPalette::Disabled, QPalette::WindowText, Disabled);
    palette.setColor(QPalette::Disabled, QPalette::Text, Disabled);
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, Disabled);
    return palette;
}

const QString Source = QStringLiteral("ScreenTheme.ThemeService");

} // namespace

ThemeService::ThemeService(QObject *parent) : QObject(parent) {}

void ThemeService::ApplyScreenTheme(QWidget *form)
{
    platform::required(form, Source);
    // A form that already carries the theme (one kept between two openings) is left alone: setting the
    // same sheet again would make Qt restyle every control.
    if (form->property(ThemedProperty).toBool() && form->styleSheet() == QLatin1String(FormStyle))
        return;
    form->setPalette(themePalette(form->palette()));
    form->setAutoFillBackground(true);
    QFont font = QApplication::font();
    font.setPointSize(PointSize);
    form->setFont(font);
    form->setStyleSheet(QString::fromLatin1(FormStyle));
    form->setProperty(ThemedProperty, true);
}

void ThemeService::Applytabcolor(QTabWidget *tabs)
{
    platform::required(tabs, Source);
    for (const QWidget *w = tabs; w; w = w->parentWidget()) {
        if (w->property(ThemedProperty).toBool())
            return; // the form's palette and sheet already colour its tab strips
    }
    tabs->setPalette(themePalette(tabs->palette()));
    tabs->setStyleSheet(QString::fromLatin1(FormStyle));
}

} // namespace suite

#include "units.h"

#include <QGuiApplication>
#include <QPalette>
#include <QScreen>
#include <QWidget>
#include <algorithm>
#include <cmath>

namespace platform {

namespace {

constexpr double twipsPerInch = 1440.0;

double logicalDpi(const QWidget *widget)
{
    if (widget)
        return widget->logicalDpiX();
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        if (const QScreen *screen = QGuiApplication::primaryScreen())
            return screen->logicalDotsPerInchX();
    }
    return 96.0;
}

QPalette::ColorRole systemRole(quint32 index)
{
    switch (index) {
    case 0x04: // menu bar
    case 0x0F: // button face
        return QPalette::Button;
    case 0x05: // window background
        return QPalette::Base;
    case 0x07: // menu text
    case 0x12: // button text
        return QPalette::ButtonText;
    case 0x08: // window text
        return QPalette::Text;
    case 0x0C: // application workspace
    case 0x10: // button shadow
        return QPalette::Dark;
    case 0x0D: // highlight
    case 0x0E: // taken as the highlight too, as the forms use it
        return QPalette::Highlight;
    case 0x14:
        return QPalette::Light;
    case 0x15:
        return QPalette::Shadow;
    case 0x16:
        return QPalette::Midlight;
    case 0x17:
        return QPalette::ToolTipText;
    case 0x18:
        return QPalette::ToolTipBase;
    default:
        return QPalette::Window;
    }
}

} // namespace

int twipsToPixels(int twips, const QWidget *widget)
{
    return int(std::lround(twips * logicalDpi(widget) / twipsPerInch));
}

int pixelsToTwips(int pixels, const QWidget *widget)
{
    return int(std::lround(pixels * twipsPerInch / logicalDpi(widget)));
}

int twipsTop(const QWidget *control)
{
    return pixelsToTwips(control->y(), control);
}

void setTwipsTop(QWidget *control, int twips)
{
    control->move(control->x(), twipsToPixels(twips, control));
}

int twipsHeight(const QWidget *control)
{
    return pixelsToTwips(control->height(), control);
}

void setTwipsHeight(QWidget *control, int twips)
{
    control->resize(control->width(), twipsToPixels(twips, control));
}

void setTwipsGeometry(QWidget *control, int left, int top, int width, int height)
{
    control->setGeometry(twipsToPixels(left, control), twipsToPixels(top, control),
                         twipsToPixels(width, control), twipsToPixels(height, control));
}

void setFormHeightTwips(QWidget *form, int twips)
{
    form->resize(form->width(), std::max(0, twipsToPixels(twips - FormChromeTwips, form)));
}

QColor colorFromVb(quint32 value)
{
    if (value & 0x80000000u) {
        const QPalette palette = qobject_cast<QGuiApplication *>(QCoreApplication::instance())
                                     ? QGuiApplication::palette()
                                     : QPalette();
        return palette.color(QPalette::Active, systemRole(value & 0xFFu));
    }
    return QColor(int(value & 0xFF), int((value >> 8) & 0xFF), int((value >> 16) & 0xFF));
}

quint32 vbFromColor(const QColor &color)
{
    const QColor rgb = color.toRgb();
    return quint32(rgb.red()) | (quint32(rgb.green()) << 8) | (quint32(rgb.blue()) << 16);
}

} // namespace platform

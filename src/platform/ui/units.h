#pragma once
// Twips (1440 per logical inch) and the original's 0x00BBGGRR colours.

#include <QColor>
#include <QtGlobal>

class QWidget;

namespace platform {

int twipsToPixels(int twips, const QWidget *widget = nullptr);
int pixelsToTwips(int pixels, const QWidget *widget = nullptr);

// A control's Top and Height in twips, relative to its container, and its whole place at once.
int twipsTop(const QWidget *control);
void setTwipsTop(QWidget *control, int twips);
int twipsHeight(const QWidget *control);
void setTwipsHeight(QWidget *control, int twips);
void setTwipsGeometry(QWidget *control, int left, int top, int width, int height);
// A form's Height counts its caption bar and borders, taken as FormChromeTwips whatever the window system
// draws, so that a form's inside is the same everywhere; the inside gets the rest.
constexpr int FormChromeTwips = 420;
void setFormHeightTwips(QWidget *form, int twips);

// 0x00BBGGRR to QColor; the system colours 0x80000005 (window background), 0x80000008 (window text) and
// 0x8000000E (highlight) come from the application palette.
QColor colorFromVb(quint32 value);
quint32 vbFromColor(const QColor &color);

constexpr quint32 vbRed = 0x0000FF;
constexpr quint32 vbCyan = 0xFFFF00;
constexpr quint32 vbWindowBackground = 0x80000005;
constexpr quint32 vbWindowText = 0x80000008;
constexpr quint32 vbHighlight = 0x8000000E;

} // namespace platform

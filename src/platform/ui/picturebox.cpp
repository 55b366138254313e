#include "picturebox.h"

#include "platform/ui/seams.h"

#include <QFileInfo>
#include <QImageReader>
#include <QPainter>
#include <QResizeEvent>

namespace platform {

PictureBox::PictureBox(QWidget *parent) : QWidget(parent)
{
    setMinimumSize(64, 64);
}

bool PictureBox::LoadPicture(const QString &path)
{
    m_path = path;
    bool shown = false;
    {
        const Hourglass wait;
        shown = decode();
    }
    update();
    return shown;
}

void PictureBox::Clear()
{
    m_path.clear();
    m_image = QImage();
    m_message.clear();
    update();
}

bool PictureBox::decode()
{
    m_image = QImage();
    m_message.clear();
    QImageReader reader(m_path);
    reader.setAutoTransform(true);
    const QSize full = reader.size();
    m_fullSize = full;
    if (full.isValid()) {
        // Decoded at the size shown, never larger than the picture itself.
        const QSize box = (size() * devicePixelRatioF()).expandedTo(QSize(1, 1));
        if (full.width() > box.width() || full.height() > box.height())
            reader.setScaledSize(full.scaled(box, Qt::KeepAspectRatio).expandedTo(QSize(1, 1)));
        m_image = reader.read();
    }
    if (m_image.isNull()) {
        m_message =
            QStringLiteral("This file cannot be shown as a picture:\n") + QFileInfo(m_path).fileName();
        return false;
    }
    m_image.setDevicePixelRatio(devicePixelRatioF());
    return true;
}

void PictureBox::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    // Grown past the decoded picture (and the picture has more to give): decode again, to stay sharp.
    if (m_image.isNull())
        return;
    const QSize wanted = m_fullSize.scaled(event->size() * devicePixelRatioF(), Qt::KeepAspectRatio);
    if (wanted.width() > m_image.width() + 1 && m_image.width() < m_fullSize.width())
        decode();
}

void PictureBox::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().base());
    painter.setPen(palette().mid().color());
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
    if (!m_image.isNull()) {
        const QSize fitted =
            m_image.deviceIndependentSize().toSize().scaled(size() - QSize(2, 2), Qt::KeepAspectRatio);
        QRect target(QPoint(0, 0), fitted);
        target.moveCenter(rect().center());
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(target, m_image);
    } else if (!m_message.isEmpty()) {
        painter.setPen(palette().text().color());
        painter.drawText(rect().adjusted(8, 8, -8, -8), Qt::AlignCenter | Qt::TextWordWrap, m_message);
    }
}

} // namespace platform

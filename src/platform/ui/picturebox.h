#pragma once
// PictureBox: the original's image box. It shows a picture file scaled to fit, its aspect kept, decoded at
// the size it is shown at (a 6000 x 4000 scan decodes to a few hundred pixels, quickly and sharply). A file
// that is no readable picture shows a line saying so instead of a picture.

#include <QImage>
#include <QString>
#include <QWidget>

namespace platform {

class PictureBox : public QWidget
{
    Q_OBJECT
public:
    explicit PictureBox(QWidget *parent = nullptr);

    // LoadPicture(path): the wait cursor shows while the file decodes. Returns false, and shows the
    // reason in the box, when the file cannot be read as a picture.
    bool LoadPicture(const QString &path);
    void Clear();

    QString picturePath() const { return m_path; }
    bool hasPicture() const { return !m_image.isNull(); }
    QString message() const { return m_message; } // "" while a picture is shown
    QSize decodedSize() const { return m_image.size(); }

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    bool decode();

    QString m_path;
    QSize m_fullSize; // the picture's own size
    QImage m_image;
    QString m_message;
};

} // namespace platform

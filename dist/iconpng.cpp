// Renders the icon's SVG into the PNG sizes of the hicolor theme, at build time:
//   agr-iconpng ICON.svg OUTPUT-FOLDER SIZE...   writes OUTPUT-FOLDER/SIZExSIZE/apps/<name>.png

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSaveFile>
#include <QSvgRenderer>

#include <cstdio>

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 4) {
        std::fprintf(stderr, "usage: agr-iconpng ICON.svg OUTPUT-FOLDER SIZE...\n");
        return 2;
    }
    QSvgRenderer svg(arguments.at(1));
    if (!svg.isValid()) {
        std::fprintf(stderr, "agr-iconpng: cannot read %s\n", qPrintable(arguments.at(1)));
        return 1;
    }
    const QString name = QFileInfo(arguments.at(1)).completeBaseName();
    for (const QString &text : arguments.mid(3)) {
        const int size = text.toInt();
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        svg.render(&painter);
        painter.end();
        const QString folder = QStringLiteral("%1/%2x%2/apps").arg(arguments.at(2)).arg(size);
        QDir().mkpath(folder);
        QSaveFile file(folder + QLatin1Char('/') + name + QStringLiteral(".png"));
        if (!file.open(QIODevice::WriteOnly) || !image.save(&file, "PNG") || !file.commit()) {
            std::fprintf(stderr, "agr-iconpng: cannot write %s\n", qPrintable(file.fileName()));
            return 1;
        }
    }
    return 0;
}

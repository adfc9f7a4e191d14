#include "backends/qt/images.h"

#include <QFile>
#include <QMimeDatabase>
#include <QMimeType>
#include <QPixmapCache>
#include <string_view>

namespace backends::qt {
namespace {

QString stem(const std::string& name) {
    std::string_view text = name;
    if (text.ends_with(".png")) text.remove_suffix(4);
    return QStringLiteral(":/panels/") + QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

QPixmap picture(const std::string& name, double devicePixelRatio) {
    const QString base = stem(name);
    // A file named "@2x" says so itself: the pixmap has two pixels to a point.
    const QString file = base + (devicePixelRatio > 1.0 ? QStringLiteral("@2x.png") : QStringLiteral(".png"));
    QPixmap pixmap;
    if (!QPixmapCache::find(file, &pixmap) && QFile::exists(file) && pixmap.load(file))
        QPixmapCache::insert(file, pixmap);
    return pixmap;
}

QIcon pictureIcon(const std::string& name) {
    QIcon icon;
    for (const double ratio : {1.0, 2.0}) {
        const QPixmap pixmap = picture(name, ratio);
        if (!pixmap.isNull()) icon.addPixmap(pixmap);
    }
    return icon;
}

QIcon themedFileIcon(const std::string& imageName) {
    if (imageName == "fldr") return QIcon::fromTheme(QStringLiteral("folder"), pictureIcon("large-fldr"));
    const QMimeType type = QMimeDatabase().mimeTypeForFile(
        QStringLiteral("x") + QString::fromStdString(imageName), QMimeDatabase::MatchExtension);
    const QIcon own = pictureIcon("large-file");
    return QIcon::fromTheme(type.iconName(), QIcon::fromTheme(type.genericIconName(), own));
}

} // namespace backends::qt

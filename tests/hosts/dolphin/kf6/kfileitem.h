// As the public documentation of KDE Frameworks 6 declares them, as far as the plugin asks; for this test
// alone.
#pragma once

#include <sys/stat.h>

#include <QList>
#include <QUrl>

class KFileItem {
  public:
    KFileItem(const QUrl& ofItem, const QString& /*mimeType*/, mode_t ofMode)
        : itsUrl(ofItem), mode(ofMode) {}
    QUrl url() const { return itsUrl; }
    bool isLocalFile() const { return itsUrl.isLocalFile(); }
    QUrl mostLocalUrl(bool* /*isLocal*/ = nullptr) const { return itsUrl; }
    bool isDir() const { return S_ISDIR(mode); }

  private:
    QUrl itsUrl;
    mode_t mode;
};
using KFileItemList = QList<KFileItem>;

class KFileItemListProperties {
  public:
    explicit KFileItemListProperties(const KFileItemList& ofItems) : all(ofItems) {}
    KFileItemList items() const { return all; }

  private:
    KFileItemList all;
};

#include "tovrin_overlay.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>

#include <QFile>
#include <QSet>
#include <QUrl>

namespace {

/// Nothing tells the file manager when a state changes, so those that it has asked about are looked at again.
constexpr int kMillisecondsBetweenLooks = 2000;

/// The devices of all Tovrin mounts as "major:minor", so that no other file system is asked for attributes.
QSet<QByteArray> tovrinDevices() {
  QSet<QByteArray> devices;
  QFile mounts(QStringLiteral("/proc/self/mountinfo"));
  if (!mounts.open(QIODevice::ReadOnly)) return devices;
  for (const QByteArray& line : mounts.readAll().split('\n')) {
    const auto separator = line.indexOf(" - ");
    if (separator >= 0 && line.mid(separator + 3).startsWith("fuse.tovrin ")) devices.insert(line.split(' ').at(2));
  }
  return devices;
}

/// Empty for everything but files on a Tovrin mount.
QByteArray state(const QUrl& item) {
  const QByteArray path = QFile::encodeName(item.toLocalFile());
  struct stat attributes{};
  if (path.isEmpty() || lstat(path.constData(), &attributes) != 0 || !S_ISREG(attributes.st_mode)) return {};
  const QByteArray device =
      QByteArray::number(major(attributes.st_dev)) + ':' + QByteArray::number(minor(attributes.st_dev));
  if (!tovrinDevices().contains(device)) return {};
  QByteArray value(32, '\0');
  const ssize_t length =
      lgetxattr(path.constData(), "user.tovrin.state", value.data(), static_cast<size_t>(value.size()));
  return length < 0 ? QByteArray() : value.left(static_cast<int>(length));
}

QStringList emblems(const QByteArray& state) {
  if (state == "remote") return {QStringLiteral("emblem-remote")};
  if (state == "opening") return {QStringLiteral("emblem-synchronizing")};
  if (state == "edited") return {QStringLiteral("emblem-added")};
  if (state == "issue") return {QStringLiteral("emblem-important")};
  return {};
}

}  // namespace

TovrinOverlay::TovrinOverlay(QObject* parent) : KOverlayIconPlugin(parent) {
  nextLook_.setInterval(kMillisecondsBetweenLooks);
  connect(&nextLook_, &QTimer::timeout, this, &TovrinOverlay::lookAgain);
}

QStringList TovrinOverlay::getOverlays(const QUrl& item) {
  const QByteArray now = state(item);
  if (now.isEmpty()) return {};
  shown_[item] = now;
  if (!nextLook_.isActive()) nextLook_.start();
  return emblems(now);
}

void TovrinOverlay::lookAgain() {
  for (auto known = shown_.begin(); known != shown_.end();) {
    const QByteArray now = state(known.key());
    if (now.isEmpty()) {
      known = shown_.erase(known);
      continue;
    }
    if (now != known.value()) {
      known.value() = now;
      emit overlaysChanged(known.key(), emblems(now));
    }
    ++known;
  }
  if (shown_.isEmpty()) nextLook_.stop();
}

#pragma once

#include <KOverlayIconPlugin>
#include <QHash>
#include <QTimer>

/// Emblems in KDE's file views for the files of a Tovrin mount: remote, opening, edited, or with an issue. A file that
/// is here has none: it is like any other. Lives in the file manager, on its main thread, and never waits: the mount
/// answers the question for a file's state from memory.
class TovrinOverlay final : public KOverlayIconPlugin {
  Q_OBJECT
  Q_PLUGIN_METADATA(IID "com.tovrin.overlay")

 public:
  explicit TovrinOverlay(QObject* parent = nullptr);

  /// Names of icons; asked about every item in view.
  QStringList getOverlays(const QUrl& item) override;

 private:
  void lookAgain();

  QHash<QUrl, QByteArray> shown_;  ///< the states that were told last
  QTimer nextLook_;
};

#include "tovrin-warp/make_warp.h"

#include "tovrin-warp/folder_scan.h"
#include "tovrin-warp/manifest_draft.h"

namespace tovrin::warp {
namespace {

Result<void> addObject(ManifestDraft& draft, PayloadWriter& writer, const MakeOptions& options,
                       const ScannedObject& object) {
  if (object.relativePath.empty() && !options.rootEntry) return {};
  if (draft.isFurtherLink(object)) {
    draft.addFurtherLink(object);
    return {};
  }
  Payload payload;
  if (object.kind == TovrinWarpSharedEntryKind::file) {
    TOVRIN_TRY(payload, writer.write(options.folder / object.relativePath, object));
  }
  draft.add(object, payload);
  return {};
}

void count(MakeReport& report, const ScannedObject& object) {
  switch (object.kind) {
    case TovrinWarpSharedEntryKind::file:
      ++report.files;
      break;
    case TovrinWarpSharedEntryKind::directory:
      report.folders += object.relativePath.empty() ? 0 : 1;
      break;
    case TovrinWarpSharedEntryKind::symlink:
      ++report.symbolicLinks;
      break;
  }
}

}  // namespace

Result<MakeReport> makeWarp(const MakeOptions& options, ObjectSink& sink, Container& container) {
  TOVRIN_TRY(FolderScan scan, scanFolder(options.folder));
  TOVRIN_CHECK(sink.createBucket(kDefaultBucket));
  TOVRIN_CHECK(sink.createBucket(kWarpBucket));

  ManifestDraft draft(options);
  PayloadWriter writer(options.payload, options.warpID, sink);
  MakeReport report;
  for (const ScannedObject& object : scan.objects) {
    TOVRIN_CHECK(addObject(draft, writer, options, object));
    count(report, object);
  }
  TOVRIN_CHECK(writer.finish());

  TOVRIN_TRY(report.manifest, container.writeManifest(options.warpID, draft.finish()));
  TOVRIN_CHECK(container.showIfIndexed(options.warpID));
  if (options.mark) TOVRIN_CHECK(writeMarker(options.folder, options.warpID));
  report.objects = writer.objects();
  report.storedBytes = writer.storedBytes();
  report.skipped = std::move(scan.skipped);
  return report;
}

}  // namespace tovrin::warp

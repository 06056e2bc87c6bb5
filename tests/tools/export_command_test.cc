// `orvelin export`, `export-jpeg` and `import-sidecar`, run as a user runs them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/editors.h"
#include "common/test_support.h"
#include "tools/tool_support.h"

namespace orvelin {
namespace {

using ::testing::HasSubstr;

TEST(ExportCommands, WriteSidecarsAndJPEGsAndASidecarComesBackOnAnotherFile) {
  testing::ScratchFolder folder;
  const auto out = folder / "out";  // made by the first export
  const auto canon = testing::copySample("Canon.jpg", folder.path()).string();
  auto run = testing::runTool({"export", canon, (folder / "gone.jpg").string(), "--type", "XMP", "--to", out}, folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.output, canon + ": " + (out / "Canon.XMP").string() + "\n");
  EXPECT_THAT(run.errors, HasSubstr("gone.jpg: "));
  EXPECT_EQ(testing::runTool({"export", canon, "--type", "pdf", "--to", out}, folder.path()).status, 2);

  // The raw file's large JPEG is no image: its preview is taken. A second export takes a free name.
  const auto raw = testing::copySample("DNG.dng", folder.path());
  testing::exifToolInPlace(raw, {"-PreviewImage<=" + canon});
  const auto png = testing::copySample("PNG.png", folder.path()).string();
  run = testing::runTool({"export-jpeg", raw, png, "--to", out, "--quiet"}, folder.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.errors, png + ": No embedded image data\n");
  run = testing::runTool({"export-jpeg", raw, "--to", out}, folder.path());
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, raw.string() + ": " + (out / "DNG-JPEG (0).jpg").string() + "\n");
  EXPECT_TRUE(Image::decodeFile(out / "DNG-JPEG (0).jpg"));

  run = testing::runTool({"import-sidecar", out / "Canon.XMP", png}, folder.path());
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(run.output, HasSubstr(" XMP:Make XMP:MaxApertureValue "));
  ExifToolCLI cli;
  cli.run({"-s3", "-XMP:Make", "-XMP:ImageWidth", png});
  EXPECT_EQ(cli.buildStdOutString(), "Canon\n8\n");
}

}  // namespace
}  // namespace orvelin

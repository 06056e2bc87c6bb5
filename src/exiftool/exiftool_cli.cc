#include "orvelin/exiftool/exiftool_cli.h"

#include <cerrno>
#include <cstdlib>
#include <mutex>

#include "exiftool_pool.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/fatal.h"
#include "orvelin/support/resources.h"
#include "orvelin/support/process_runner.h"
#include "orvelin/support/text_encoding.h"

namespace orvelin {

namespace fs = std::filesystem;

namespace {

struct ExtraSettings {
  std::mutex mutex;  // guards the two fields below, and only them
  std::vector<std::string> arguments;
  bool forceUseCoreImage = false;
};

ExtraSettings& extraSettings() {
  static auto* settings = new ExtraSettings;
  return *settings;
}

}  // namespace

std::vector<std::string> ORVGetExtraArguments() {
  auto& settings = extraSettings();
  std::lock_guard lock(settings.mutex);
  return settings.arguments;
}

void ORVSetExtraArguments(std::vector<std::string> arguments) {
  auto& settings = extraSettings();
  std::lock_guard lock(settings.mutex);
  settings.arguments = std::move(arguments);
}

bool ORVGetForceUseCoreImage() {
  auto& settings = extraSettings();
  std::lock_guard lock(settings.mutex);
  return settings.forceUseCoreImage;
}

void ORVSetForceUseCoreImage(bool force) {
  auto& settings = extraSettings();
  std::lock_guard lock(settings.mutex);
  settings.forceUseCoreImage = force;
}

// The paths and tables below live as long as the process (never destroyed): threads of the
// worker pool may still run commands while it exits.

const fs::path& ExifToolCLI::exifToolDirectoryURL() {
  static const auto* const url = [] {
    const auto& resources = ORVResourcesDirectory();
    if (resources.empty()) ORVFatal("Resource folder cannot be found");
    return new fs::path(resources / "ExifTool");
  }();
  return *url;
}

const fs::path& ExifToolCLI::exiftoolExecutableURL() {
  static const auto* const url = new fs::path(exifToolDirectoryURL() / "exiftool");
  return *url;
}

const fs::path& ExifToolCLI::orvPerlExecutableURL() {
  static const auto* const url = new fs::path(exifToolDirectoryURL() / "orvperl.sh");
  return *url;
}

std::vector<std::string> ExifToolCLI::buildArguments(const std::vector<std::string>& args) const {
  std::vector<std::string> arguments;
  arguments.reserve(args.size() + 24);
  arguments.push_back(exiftoolExecutableURL().string());
  arguments.push_back("-charset");
  arguments.push_back("filename=UTF8");
  {
    auto& settings = extraSettings();
    std::lock_guard lock(settings.mutex);
    arguments.insert(arguments.end(), settings.arguments.begin(), settings.arguments.end());
  }
  if (language) {
    const auto* names = Language::equivalentNames(language->equivalentLanguage());
    if (!names) ORVFatal("No -lang code for the language " + std::string(language->rawValue()));
    arguments.push_back("-lang");
    arguments.push_back((*names)[1]);
  }
  if (enableShortTags) arguments.push_back("-s");
  if (enableRawValues) arguments.push_back("-n");
  if (disableComposite) arguments.push_back("-e");
  if (enableCorrection) arguments.push_back("-F");
  if (password) {
    arguments.push_back("-password");
    arguments.push_back(*password);
  }
  if (overwriteInPlace) arguments.push_back("-overwrite_original_in_place");
  if (forceRawLocation) {
    arguments.push_back("-c");
    arguments.push_back("%.6f");
  }
  if (recurseSubfolders) arguments.push_back("-r");
  if (filterPathExtension) {
    arguments.push_back("-ext");
    arguments.push_back(*filterPathExtension);
  }
  arguments.insert(arguments.end(), args.begin(), args.end());
  return arguments;
}

void ExifToolCLI::run(const std::vector<std::string>& args) {
  ProcessRequest request;
  request.executable = orvPerlExecutableURL();
  request.arguments = buildArguments(args);
  request.environment = {"LC_CTYPE=UTF-8"};
  // exiftool reads the file system's dates in the zone the library parses them in.
  if (const char* zone = std::getenv("TZ")) request.environment.push_back(std::string("TZ=") + zone);

  ORVDebugLog([&] {
    // A password never reaches the log.
    std::string line = "COMMAND: exiftool ";
    for (std::size_t i = 0; i < request.arguments.size(); ++i) {
      if (i) line.push_back(' ');
      line += i > 0 && request.arguments[i - 1] == "-password" ? "***" : request.arguments[i];
    }
    return line;
  }());

  std::optional<ProcessResult> pooled;
  if (ORVGetPersistentExifTool()) pooled = exiftool_pool::run(request);
  auto result = pooled ? std::move(*pooled) : ORVGetProcessRunner()->run(request);
  if (!result.launched) {
    result.standardOutput.clear();
    if (result.launchError == ENOENT || result.launchError == ENOTDIR)
      result.standardError = "exiftool launcher not found at " + request.executable.string() +
                             "; install exiftool (Debian: libimage-exiftool-perl)";
    else
      result.standardError = "exiftool launcher at " + request.executable.string() + " cannot be run (" +
                             result.standardError + ")";
  }
  exitStatus_ = result.launched ? std::optional<int>(result.exitStatus) : std::nullopt;
  stdErrData_ = std::move(result.standardError);
  stdOutData_ = std::move(result.standardOutput);
}

std::optional<std::string> ExifToolCLI::buildStdErrString() const {
  if (!stdErrData_) return std::nullopt;
  return decodeUTF8OrMacRoman(*stdErrData_);
}

std::optional<std::string> ExifToolCLI::buildStdOutString() const {
  if (!stdOutData_) return std::nullopt;
  return decodeUTF8OrMacRoman(*stdOutData_);
}

const std::unordered_map<MediaKind, std::set<std::string, std::less<>>>& ExifToolCLI::arrangedTypes() {
  static const auto* const types = new std::unordered_map<MediaKind, std::set<std::string, std::less<>>>{
      {MediaKind::audio,
       {"aa", "aax", "aiff", "aif", "aifc", "ape", "flac", "la", "mka", "mp3", "mpc", "ofr",
        "opus", "pac", "ra", "ram", "rpm", "wav", "wma", "wmv", "wv", "dss", "ds2"}},
      {MediaKind::movie,
       {"3g2", "3gp2", "3gp", "3gpp", "avi", "divx", "dv", "dvb", "f4a", "f4b", "f4p", "f4v", "flv",
        "m2ts", "mts", "m2t", "ts", "m4a", "m4b", "m4v", "mkv", "mov", "qt", "mp4", "mpeg", "mpg",
        "m2v", "mqv", "ogg", "ogv", "rm", "rv", "rmvb", "seq", "vob", "heif", "webm"}},
      {MediaKind::image,
       {"3fr", "ai", "ait", "arw", "bmp", "dib", "bpg", "btf", "cr2", "cr3", "crm", "crw", "ciff",
        "cs1", "dcm", "dc3", "dic", "dicm", "dcp", "dcr", "dng", "dpx", "dr4", "eip", "eps", "epsf",
        "ps", "erf", "exif", "exv", "fff", "flif", "fpf", "fpx", "gif", "gpr", "hdp", "heic", "heif",
        "wdp", "jxr", "icc", "icm", "iiq", "ind", "indd", "indt", "inx", "j2c", "jpc", "jp2", "jpf",
        "j2k", "jpm", "jpx", "jpeg", "jpg", "jpe", "k25", "kdc", "mef", "mie", "miff", "mif", "mos",
        "mpo", "mrw", "nef", "nrw", "orf", "pdf", "pef", "pmp", "png", "jng", "mng", "psd", "psb",
        "psdt", "psp", "pspimage", "qtif", "qti", "qif", "raf", "raw", "rw2", "rwl", "rwz", "sr2",
        "srf", "srw", "thm", "tiff", "tif", "vrd", "webp", "x3f", "xcf", "xmp"}},
      {MediaKind::other,
       {"a", "acr", "afm", "acfm", "amfm", "asf", "chm", "cos", "dfont", "djv", "djvu", "doc", "dot",
        "docx", "docm", "dotx", "dotm", "dylib", "epub", "exe", "dll", "fla", "gz", "gzip", "html",
        "htm", "xhtml", "ics", "ical", "iso", "json", "key", "kth", "lnk", "max", "mks", "mobi", "azw",
        "azw3", "mxf", "nmbtemplate", "numbers", "o", "odb", "odc", "odf", "odg", "odi", "odp", "ods",
        "odt", "otf", "pages", "pdb", "prc", "pfa", "pfb", "pfm", "plist", "ppm", "pps", "pot", "potx",
        "potm", "ppsx", "ppsm", "pptx", "pptm", "rar", "riff", "rif", "rscr", "rtf", "so", "swf", "thmx",
        "torrent", "vcf", "vcard", "vsd", "xls", "xlt", "xlsx", "xlsm", "xlsb", "xltx", "xlt", "zip",
        "exr", "hdr", "idml", "itc", "lfp", "lfr", "modd", "moi", "pcd", "pgf", "pict", "pct", "ram",
        "rpm", "sketch", "svg"}},
  };
  return *types;
}

const std::set<std::string, std::less<>>& ExifToolCLI::supportedTypes() {
  static const auto* const types = [] {
    auto* all = new std::set<std::string, std::less<>>;
    for (const auto& [kind, extensions] : arrangedTypes()) all->insert(extensions.begin(), extensions.end());
    return all;
  }();
  return *types;
}

}  // namespace orvelin

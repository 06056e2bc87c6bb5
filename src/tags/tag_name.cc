#include "orvelin/tags/tag_name.h"

#include <algorithm>
#include <ostream>

#include <nlohmann/json.hpp>

#include "orvelin/support/string_extensions.h"
#include "orvelin/support/text_encoding.h"

namespace orvelin {

template <typename Tag>
TagNamePart<Tag>::TagNamePart(std::string rawValue) : raw_(std::move(rawValue)) {
  if (!isNFC(raw_)) canonical_ = nfcNormalized(raw_);
}

template class TagNamePart<TagStreamTag>;
template class TagNamePart<TagKeyTag>;

// Constants. They live in this one translation unit, so they are made in this order, before
// anything of the library's other units runs at load time.
const TagStream TagStream::orvfinder{"ORVFinder"};
const TagStream TagStream::aiff{"AIFF"};
const TagStream TagStream::ape{"APE"};
const TagStream TagStream::apple{"Apple"};
const TagStream TagStream::asf{"ASF"};
const TagStream TagStream::audible{"Audible"};
const TagStream TagStream::bmp{"BMP"};
const TagStream TagStream::bpg{"BPG"};
const TagStream TagStream::canon{"Canon"};
const TagStream TagStream::canonRaw{"CanonRaw"};
const TagStream TagStream::canonVRD{"CanonVRD"};
const TagStream TagStream::comment{"Comment"};
const TagStream TagStream::composite{"Composite"};
const TagStream TagStream::dicom{"DICOM"};
const TagStream TagStream::djvu{"DJVU"};
const TagStream TagStream::dpx{"DPX"};
const TagStream TagStream::dv{"DV"};
const TagStream TagStream::exe{"EXE"};
const TagStream TagStream::exif{"EXIF"};
const TagStream TagStream::file{"File"};
const TagStream TagStream::flac{"FLAC"};
const TagStream TagStream::flash{"Flash"};
const TagStream TagStream::flashPix{"FlashPix"};
const TagStream TagStream::flif{"FLIF"};
const TagStream TagStream::flir{"FLIR"};
const TagStream TagStream::font{"Font"};
const TagStream TagStream::fujiFilm{"FujiFilm"};
const TagStream TagStream::geoTIFF{"GeoTIFF"};
const TagStream TagStream::gif{"GIF"};
const TagStream TagStream::gimp{"GIMP"};
const TagStream TagStream::gps{"GPS"};
const TagStream TagStream::h264{"H264"};
const TagStream TagStream::html{"HTML"};
const TagStream TagStream::icc{"ICC_Profile"};
const TagStream TagStream::id3{"ID3"};
const TagStream TagStream::iptc{"IPTC"};
const TagStream TagStream::iso{"ISO"};
const TagStream TagStream::itc{"ITC"};
const TagStream TagStream::jpegCompatible{"JPEGCompatible"};
const TagStream TagStream::jpeg2000{"Jpeg2000"};
const TagStream TagStream::json{"JSON"};
const TagStream TagStream::kodak{"Kodak"};
const TagStream TagStream::leaf{"Leaf"};
const TagStream TagStream::leica{"Leica"};
const TagStream TagStream::lnk{"LNK"};
const TagStream TagStream::lytro{"Lytro"};
const TagStream TagStream::m2ts{"M2TS"};
const TagStream TagStream::makerNotes{"MakerNotes"};
const TagStream TagStream::matroska{"Matroska"};
const TagStream TagStream::mie{"MIE"};
const TagStream TagStream::miff{"MIFF"};
const TagStream TagStream::minolta{"Minolta"};
const TagStream TagStream::minoltaRaw{"MinoltaRaw"};
const TagStream TagStream::mobi{"MOBI"};
const TagStream TagStream::moi{"MOI"};
const TagStream TagStream::mpeg{"MPEG"};
const TagStream TagStream::mpc{"MPC"};
const TagStream TagStream::mxf{"MXF"};
const TagStream TagStream::nikon{"Nikon"};
const TagStream TagStream::nikonCapture{"NikonCapture"};
const TagStream TagStream::olympus{"Olympus"};
const TagStream TagStream::openEXR{"OpenEXR"};
const TagStream TagStream::opus{"Opus"};
const TagStream TagStream::palm{"Palm"};
const TagStream TagStream::panasonic{"Panasonic"};
const TagStream TagStream::panasonicRaw{"PanasonicRaw"};
const TagStream TagStream::pentax{"Pentax"};
const TagStream TagStream::pdf{"PDF"};
const TagStream TagStream::pgf{"PGF"};
const TagStream TagStream::phaseOne{"PhaseOne"};
const TagStream TagStream::pict{"PICT"};
const TagStream TagStream::plist{"PLIST"};
const TagStream TagStream::photoCD{"PhotoCD"};
const TagStream TagStream::photoshop{"Photoshop"};
const TagStream TagStream::png{"PNG"};
const TagStream TagStream::postscript{"PostScript"};
const TagStream TagStream::ppm{"PPM"};
const TagStream TagStream::psp{"PSP"};
const TagStream TagStream::quickTime{"QuickTime"};
const TagStream TagStream::radiance{"Radiance"};
const TagStream TagStream::rawzor{"Rawzor"};
const TagStream TagStream::real{"Real"};
const TagStream TagStream::red{"Red"};
const TagStream TagStream::riff{"RIFF"};
const TagStream TagStream::rsrc{"RSRC"};
const TagStream TagStream::rtf{"RTF"};
const TagStream TagStream::samsung{"Samsung"};
const TagStream TagStream::sigma{"Sigma"};
const TagStream TagStream::sigmaRaw{"SigmaRaw"};
const TagStream TagStream::sony{"Sony"};
const TagStream TagStream::sonyIDC{"SonyIDC"};
const TagStream TagStream::svg{"SVG"};
const TagStream TagStream::theora{"Theora"};
const TagStream TagStream::torrent{"Torrent"};
const TagStream TagStream::trailers{"Trailers"};
const TagStream TagStream::unknown{"Unknown"};
const TagStream TagStream::vCalendar{"VCalendar"};
const TagStream TagStream::vCard{"VCard"};
const TagStream TagStream::vorbis{"Vorbis"};
const TagStream TagStream::xml{"XML"};
const TagStream TagStream::xmp{"XMP"};
const TagStream TagStream::zip{"ZIP"};

const TagKey TagKey::artist{"Artist"};
const TagKey TagKey::copyright{"Copyright"};
const TagKey TagKey::fileName{"FileName"};
const TagKey TagKey::directory{"Directory"};
const TagKey TagKey::fileSize{"FileSize"};
const TagKey TagKey::fileModify{"FileModificationDate"};
const TagKey TagKey::fileAccess{"FileAccessDate"};
const TagKey TagKey::fileInode{"FileInodeChangeDate"};
const TagKey TagKey::filePermissions{"FilePermissions"};
const TagKey TagKey::fileType{"FileType"};
const TagKey TagKey::fileTypeExt{"FileTypeExtension"};
const TagKey TagKey::mimeType{"MIMEType"};
const TagKey TagKey::exifByteOrder{"ExifByteOrder"};
const TagKey TagKey::imageWidth{"ImageWidth"};
const TagKey TagKey::imageHeight{"ImageHeight"};
const TagKey TagKey::encodingProcess{"EncodingProcess"};
const TagKey TagKey::bitsPerSample{"BitsPerSample"};
const TagKey TagKey::colorsComps{"Color Components"};
const TagKey TagKey::ycbcrsubSampling{"YCbCrSubSampling"};
const TagKey TagKey::imageDescription{"ImageDescription"};
const TagKey TagKey::make{"Make"};
const TagKey TagKey::cameraModelName{"CameraModelName"};
const TagKey TagKey::orientation{"Orientation"};
const TagKey TagKey::xResolution{"XResolution"};
const TagKey TagKey::yResolution{"YResolution"};
const TagKey TagKey::resolutionUnit{"ResolutionUnit"};
const TagKey TagKey::software{"Software"};
const TagKey TagKey::ycbcrPositioning{"YCbCrPositioning"};
const TagKey TagKey::exposureTime{"ExposureTime"};
const TagKey TagKey::fNumber{"FNumber"};
const TagKey TagKey::exposureProgram{"ExposureProgram"};
const TagKey TagKey::iso{"ISO"};
const TagKey TagKey::exifVersion{"ExifVersion"};
const TagKey TagKey::originalDateTime{"DateTimeOriginal"};
const TagKey TagKey::createDate{"CreateDate"};
const TagKey TagKey::modifyDate{"ModifyDate"};
const TagKey TagKey::city{"City"};
const TagKey TagKey::provinceState{"Province-State"};
const TagKey TagKey::countryPrimaryLocationName{"Country-PrimaryLocationName"};
const TagKey TagKey::countryPrimaryLocationCode{"Country-PrimaryLocationCode"};
const TagKey TagKey::compsConfigs{"ComponentsConfiguration"};
const TagKey TagKey::compressed{"Compressed"};
const TagKey TagKey::shutterSpeedValue{"ShutterSpeedValue"};
const TagKey TagKey::apertureValue{"ApertureValue"};
const TagKey TagKey::exposureCompensation{"ExposureCompensation"};
const TagKey TagKey::maxAperture{"MaxApertureValue"};
const TagKey TagKey::subjectDistance{"SubjectDistance"};
const TagKey TagKey::meteringMode{"MeteringMode"};
const TagKey TagKey::lightSource{"LightSource"};
const TagKey TagKey::flash{"Flash"};
const TagKey TagKey::focalLength{"FocalLength"};
const TagKey TagKey::userComment{"UserComment"};
const TagKey TagKey::flashPixVersion{"FlashpixVersion"};
const TagKey TagKey::colorspace{"ColorSpace"};
const TagKey TagKey::exifImageWidth{"ExifImageWidth"};
const TagKey TagKey::exifImageHeight{"ExifImageHeight"};
const TagKey TagKey::interopIndex{"InteroperabilityIndex"};
const TagKey TagKey::interopVersion{"InteroperabilityVersion"};
const TagKey TagKey::exposureIndex{"ExposureIndex"};
const TagKey TagKey::sensingMethod{"SensingMethod"};
const TagKey TagKey::fileSource{"FileSource"};
const TagKey TagKey::sceneType{"SceneType"};
const TagKey TagKey::customRendered{"CustomRendered"};
const TagKey TagKey::exposureMode{"ExposureMode"};
const TagKey TagKey::whiteBalance{"WhiteBalance"};
const TagKey TagKey::digitalZoomRatio{"DigitalZoomRatio"};
const TagKey TagKey::focalLengthIn35{"FocalLengthIn35mmFormat"};
const TagKey TagKey::sceneCaptureType{"SceneCaptureType"};
const TagKey TagKey::gainControl{"GainControl"};
const TagKey TagKey::contrast{"Contrast"};
const TagKey TagKey::saturation{"Saturation"};
const TagKey TagKey::sharpness{"Sharpness"};
const TagKey TagKey::sujectDistanceRange{"SubjectDistanceRange"};
const TagKey TagKey::gpsVersionID{"GPSVersionID"};
const TagKey TagKey::gpsLatitude{"GPSLatitude"};
const TagKey TagKey::gpsLatitudeRef{"GPSLatitudeRef"};
const TagKey TagKey::gpsLongitude{"GPSLongitude"};
const TagKey TagKey::gpsLongitudeRef{"GPSLongitudeRef"};
const TagKey TagKey::gpsAltitude{"GPSAltitude"};
const TagKey TagKey::gpsAltitudeRef{"GPSAltitudeRef"};
const TagKey TagKey::gpsImgDirection{"GPSImgDirection"};
const TagKey TagKey::gpsImgDirectionRef{"GPSImgDirectionRef"};
const TagKey TagKey::gpsDateStamp{"GPSDateStamp"};
const TagKey TagKey::gpsTimeStamp{"GPSTimeStamp"};
const TagKey TagKey::gpsPosition{"GPSPosition"};
const TagKey TagKey::gpsMapDatum{"GPSMapDatum"};
const TagKey TagKey::compression{"Compression"};
const TagKey TagKey::thumbnailOffset{"ThumbnailOffset"};
const TagKey TagKey::thumbnailLength{"ThumbnailLength"};
const TagKey TagKey::thumbnailImage{"ThumbnailImage"};
const TagKey TagKey::previewImageLength{"PreviewImageLength"};
const TagKey TagKey::previewImage{"PreviewImage"};
const TagKey TagKey::aperture{"Aperture"};
const TagKey TagKey::imageSize{"ImageSize"};
const TagKey TagKey::megapixels{"Megapixels"};
const TagKey TagKey::scaleFactorIn35{"ScaleFactorTo35mmEquivalent"};
const TagKey TagKey::shutterSpeed{"ShutterSpeed"};
const TagKey TagKey::circleOfConfusion{"CircleOfConfusion"};
const TagKey TagKey::fieldOfView{"FieldOfView"};
const TagKey TagKey::hyperfocalDistance{"HyperfocalDistance"};
const TagKey TagKey::lightValue{"LightValue"};
const TagKey TagKey::keywords{"Keywords"};
const TagKey TagKey::tags{"Tags"};
const TagKey TagKey::headline{"Headline"};
const TagKey TagKey::dateCreated{"DateCreated"};

const TagName TagName::exifThumbnailImage{"EXIF", "ThumbnailImage"};
const TagName TagName::exifThumbnailLength{"EXIF", "ThumbnailLength"};
const TagName TagName::exifPreviewImage{"EXIF", "PreviewImage"};
const TagName TagName::exifPreviewImageLength{"EXIF", "PreviewImageLength"};
const TagName TagName::fileImageWidth{"File", "ImageWidth"};
const TagName TagName::fileImageHeight{"File", "ImageHeight"};
const TagName TagName::exifImageDescription{"EXIF", "ImageDescription"};
const TagName TagName::exifImageWidth{"EXIF", "ImageWidth"};
const TagName TagName::exifImageHeight{"EXIF", "ImageHeight"};
const TagName TagName::exifExifImageWidth{"EXIF", "ExifImageWidth"};
const TagName TagName::exifExifImageHeight{"EXIF", "ExifImageHeight"};
const TagName TagName::pngImageWidth{"PNG", "ImageWidth"};
const TagName TagName::pngImageHeight{"PNG", "ImageHeight"};
const TagName TagName::exifGPSLatitude{"EXIF", "GPSLatitude"};
const TagName TagName::exifGPSLatitudeRef{"EXIF", "GPSLatitudeRef"};
const TagName TagName::exifGPSLongitude{"EXIF", "GPSLongitude"};
const TagName TagName::exifGPSLongitudeRef{"EXIF", "GPSLongitudeRef"};
const TagName TagName::exifGPSAltitude{"EXIF", "GPSAltitude"};
const TagName TagName::exifGPSAltitudeRef{"EXIF", "GPSAltitudeRef"};
const TagName TagName::exifGPSImgDirection{"EXIF", "GPSImgDirection"};
const TagName TagName::exifGPSImgDirectionRef{"EXIF", "GPSImgDirectionRef"};
const TagName TagName::exifGPSDateStamp{"EXIF", "GPSDateStamp"};
const TagName TagName::exifGPSTimeStamp{"EXIF", "GPSTimeStamp"};
const TagName TagName::exifCreateDate{"EXIF", "CreateDate"};
const TagName TagName::exifModifyDate{"EXIF", "ModifyDate"};
const TagName TagName::iptcHeadline{"IPTC", "Headline"};
const TagName TagName::iptcDateCreated{"IPTC", "DateCreated"};
const TagName TagName::iptcKeywords{"IPTC", "Keywords"};
const TagName TagName::orvfinderTags{"ORVFinder", "Tags"};

std::string TagStream::displayName() const {
  if (rawValue() == "ICC_Profile") return "ICC";
  return rawValue();
}

bool TagStream::isAdditional() const {
  const auto& raw = rawValue();
  return raw == "IDF1" || raw == "IDF2" || raw == "IDF3";
}

// The lists below live as long as the process (never destroyed): threads of the worker pool
// may still use them while it exits.

const std::vector<TagStream>& TagStream::imageStreams() {
  static const auto* const streams = new std::vector<TagStream>{
      exif,
      iptc,
      xmp,
      icc,
      apple,
      canon,
      canonRaw,
      canonVRD,
      dicom,
      dpx,
      flir,
      fujiFilm,
      gif,
      kodak,
      leaf,
      leica,
      minolta,
      minoltaRaw,
      nikon,
      nikonCapture,
      olympus,
      panasonic,
      panasonicRaw,
      pdf,
      pentax,
      photoshop,
      png,
      postscript,
      samsung,
      sigma,
      sigmaRaw,
      sony,
      sonyIDC,
  };
  return *streams;
}

const std::vector<TagStream>& TagStream::constants() {
  static const auto* const streams = new std::vector<TagStream>{
      orvfinder, aiff, ape, apple, asf, audible, bmp, bpg, canon, canonRaw, canonVRD, comment,
      composite, dicom, djvu, dpx, dv, exe, exif, file, flac, flash, flashPix, flif, flir, font,
      fujiFilm, geoTIFF, gif, gimp, gps, h264, html, icc, id3, iptc, iso, itc, jpegCompatible,
      jpeg2000, json, kodak, leaf, leica, lnk, lytro, m2ts, makerNotes, matroska, mie, miff,
      minolta, minoltaRaw, mobi, moi, mpeg, mpc, mxf, nikon, nikonCapture, olympus, openEXR, opus,
      palm, panasonic, panasonicRaw, pentax, pdf, pgf, phaseOne, pict, plist, photoCD, photoshop,
      png, postscript, ppm, psp, quickTime, radiance, rawzor, real, red, riff, rsrc, rtf, samsung,
      sigma, sigmaRaw, sony, sonyIDC, svg, theora, torrent, trailers, unknown, vCalendar, vCard,
      vorbis, xml, xmp, zip,
  };
  return *streams;
}

std::optional<TagName> TagName::fromRawValue(std::string_view rawValue) {
  auto parts = separate(rawValue, ":");
  if (!parts) return std::nullopt;
  return TagName(TagStream(std::move(parts->first)), TagKey(std::move(parts->second)));
}

std::string TagName::rawValue() const {
  std::string text;
  text.reserve(stream_.rawValue().size() + 1 + key_.rawValue().size());
  text.append(stream_.rawValue()).append(":").append(key_.rawValue());
  return text;
}

const std::vector<TagName>& TagName::gpsTagNames() {
  static const auto* const names = new std::vector<TagName>{exifGPSLatitude,  exifGPSLongitude, exifGPSLatitudeRef, exifGPSLongitudeRef,
                                             exifGPSAltitude,  exifGPSDateStamp, exifGPSTimeStamp};
  return *names;
}

const std::vector<TagName>& TagName::thumbnailTagNames() {
  static const auto* const names = new std::vector<TagName>{exifThumbnailLength, exifThumbnailImage, exifPreviewImage,
                                             exifPreviewImageLength};
  return *names;
}

bool TagName::isRelativeToGPS() const {
  const auto& names = gpsTagNames();
  return std::find(names.begin(), names.end(), *this) != names.end();
}

bool TagName::isRelativeToThumbnail() const {
  const auto& names = thumbnailTagNames();
  return std::find(names.begin(), names.end(), *this) != names.end();
}

const std::unordered_set<std::string>& TagsFamily::g0Family() {
  static const auto* const family = new std::unordered_set<std::string>{
      "afcp", "aiff", "ape", "app0", "app1", "app11", "app12", "app13", "app14", "app15", "app4",
      "app5", "app6", "app8", "asf", "audible", "canonvrd", "composite", "dicom", "dng", "dv",
      "djvu", "ducky", "exe", "exif", "exiftool", "flac", "flir", "file", "flash", "flashpix",
      "font", "fotostation", "gif", "gimp", "geotiff", " gopro", "h264", "html", "icc_profile",
      "id3", "iptc", "iso", "itc", "jfif", "jpeg", "json", "jpeg2000", "lnk", "leaf", "lytro",
      "m2ts", "mie", "miff", "mng", "moi", "mpc", "mpeg", "mpf", "mxf", "makernotes", "matroska",
      "meta", "ogg", "openexr", "opus", "pdf", "pict", "plist", "png", "psp", "palm",
      "panasonicraw", "photocd", "photomechanic", "photoshop", "postscript", "printim", "quicktime",
      "raf", "riff", "rsrc", "rtf", "radiance", "rawzor", "real", "red", "svg", "sigmaraw", "stim",
      "theora", "torrent", "vcard", "vorbis", "xml", "xmp", "zip",
  };
  return *family;
}

bool TagsFamily::isStreamInG0Family(const TagStream& stream) {
  return g0Family().contains(lowercased(stream.rawValue()));
}

bool TagsFamily::isNameInG0Family(const TagName& name) { return isStreamInG0Family(name.stream()); }

TagName TagsFamily::fixMakerNotes(const TagName& name) {
  if (isNameInG0Family(name)) return name;
  return TagName(TagStream::makerNotes, name.key());
}

std::ostream& operator<<(std::ostream& out, const TagStream& stream) { return out << stream.rawValue(); }
std::ostream& operator<<(std::ostream& out, const TagKey& key) { return out << key.rawValue(); }
std::ostream& operator<<(std::ostream& out, const TagName& name) {
  return out << name.stream().rawValue() << ':' << name.key().rawValue();
}

const char* TagName::ParsingError::text(Code code) {
  switch (code) {
    case Code::notParsableRawValue: return "notParsableRawValue";
  }
  return "notParsableRawValue";
}

void to_json(nlohmann::json& json, const TagStream& stream) { json = stream.rawValue(); }
void from_json(const nlohmann::json& json, TagStream& stream) { stream = TagStream(json.get<std::string>()); }
void to_json(nlohmann::json& json, const TagKey& key) { json = key.rawValue(); }
void from_json(const nlohmann::json& json, TagKey& key) { key = TagKey(json.get<std::string>()); }
void to_json(nlohmann::json& json, const TagName& name) { json = name.rawValue(); }
void from_json(const nlohmann::json& json, TagName& name) {
  auto parsed = TagName::fromRawValue(json.get<std::string>());
  if (!parsed) throw TagName::ParsingError();
  name = std::move(*parsed);
}

}  // namespace orvelin

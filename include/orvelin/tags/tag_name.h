#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "orvelin/support/coded_error.h"

namespace orvelin {

class TagAccess;

// One name part of a tag: its stream (the group exiftool reports it in, "EXIF", "Canon") or
// its key inside the stream ("Make").
//
// A value type. Equality, hashing and ordering use the Unicode-canonical (NFC) form of the text,
// so two spellings of "é" name the same tag; rawValue() keeps the text as given. Coded in JSON
// as one bare string. Immutable and safe to share between threads.
template <typename Tag>
class TagNamePart {
 public:
  TagNamePart() = default;
  explicit TagNamePart(std::string rawValue);
  explicit TagNamePart(std::string_view rawValue) : TagNamePart(std::string(rawValue)) {}
  explicit TagNamePart(const char* rawValue) : TagNamePart(std::string(rawValue)) {}

  const std::string& rawValue() const { return raw_; }
  const std::string& description() const { return raw_; }
  // The text compared and hashed: the NFC form of rawValue().
  const std::string& canonical() const { return canonical_.empty() ? raw_ : canonical_; }

  friend bool operator==(const TagNamePart& lhs, const TagNamePart& rhs) { return lhs.canonical() == rhs.canonical(); }
  friend std::strong_ordering operator<=>(const TagNamePart& lhs, const TagNamePart& rhs) {
    return lhs.canonical().compare(rhs.canonical()) <=> 0;
  }

 private:
  std::string raw_;
  std::string canonical_;  // empty when the raw text is already NFC
};

struct TagStreamTag {};
struct TagKeyTag {};

// The stream of a tag. Constants name the streams the library uses.
class TagStream : public TagNamePart<TagStreamTag> {
 public:
  using TagNamePart::TagNamePart;

  // The name to use on an exiftool command line: the raw value.
  const std::string& exifName() const { return rawValue(); }
  // The raw value, except that "ICC_Profile" shows as "ICC".
  std::string displayName() const;
  // True for exactly "IDF1", "IDF2" and "IDF3".
  bool isAdditional() const;
  // The access of this stream in a file type (see tag_access.h, which defines it): the
  // table's entry for the upper-cased file type and this raw value, TagAccess::n when absent.
  TagAccess access(std::string_view fileType) const;

  // The streams that can carry image metadata, in a fixed order (33 entries).
  static const std::vector<TagStream>& imageStreams();
  // Every stream constant below, in the order they are declared.
  static const std::vector<TagStream>& constants();
  static const TagStream orvfinder;  // "ORVFinder"
  static const TagStream aiff;  // "AIFF"
  static const TagStream ape;  // "APE"
  static const TagStream apple;  // "Apple"
  static const TagStream asf;  // "ASF"
  static const TagStream audible;  // "Audible"
  static const TagStream bmp;  // "BMP"
  static const TagStream bpg;  // "BPG"
  static const TagStream canon;  // "Canon"
  static const TagStream canonRaw;  // "CanonRaw"
  static const TagStream canonVRD;  // "CanonVRD"
  static const TagStream comment;  // "Comment"
  static const TagStream composite;  // "Composite"
  static const TagStream dicom;  // "DICOM"
  static const TagStream djvu;  // "DJVU"
  static const TagStream dpx;  // "DPX"
  static const TagStream dv;  // "DV"
  static const TagStream exe;  // "EXE"
  static const TagStream exif;  // "EXIF"
  static const TagStream file;  // "File"
  static const TagStream flac;  // "FLAC"
  static const TagStream flash;  // "Flash"
  static const TagStream flashPix;  // "FlashPix"
  static const TagStream flif;  // "FLIF"
  static const TagStream flir;  // "FLIR"
  static const TagStream font;  // "Font"
  static const TagStream fujiFilm;  // "FujiFilm"
  static const TagStream geoTIFF;  // "GeoTIFF"
  static const TagStream gif;  // "GIF"
  static const TagStream gimp;  // "GIMP"
  static const TagStream gps;  // "GPS"
  static const TagStream h264;  // "H264"
  static const TagStream html;  // "HTML"
  static const TagStream icc;  // "ICC_Profile"
  static const TagStream id3;  // "ID3"
  static const TagStream iptc;  // "IPTC"
  static const TagStream iso;  // "ISO"
  static const TagStream itc;  // "ITC"
  static const TagStream jpegCompatible;  // "JPEGCompatible"
  static const TagStream jpeg2000;  // "Jpeg2000"
  static const TagStream json;  // "JSON"
  static const TagStream kodak;  // "Kodak"
  static const TagStream leaf;  // "Leaf"
  static const TagStream leica;  // "Leica"
  static const TagStream lnk;  // "LNK"
  static const TagStream lytro;  // "Lytro"
  static const TagStream m2ts;  // "M2TS"
  static const TagStream makerNotes;  // "MakerNotes"
  static const TagStream matroska;  // "Matroska"
  static const TagStream mie;  // "MIE"
  static const TagStream miff;  // "MIFF"
  static const TagStream minolta;  // "Minolta"
  static const TagStream minoltaRaw;  // "MinoltaRaw"
  static const TagStream mobi;  // "MOBI"
  static const TagStream moi;  // "MOI"
  static const TagStream mpeg;  // "MPEG"
  static const TagStream mpc;  // "MPC"
  static const TagStream mxf;  // "MXF"
  static const TagStream nikon;  // "Nikon"
  static const TagStream nikonCapture;  // "NikonCapture"
  static const TagStream olympus;  // "Olympus"
  static const TagStream openEXR;  // "OpenEXR"
  static const TagStream opus;  // "Opus"
  static const TagStream palm;  // "Palm"
  static const TagStream panasonic;  // "Panasonic"
  static const TagStream panasonicRaw;  // "PanasonicRaw"
  static const TagStream pentax;  // "Pentax"
  static const TagStream pdf;  // "PDF"
  static const TagStream pgf;  // "PGF"
  static const TagStream phaseOne;  // "PhaseOne"
  static const TagStream pict;  // "PICT"
  static const TagStream plist;  // "PLIST"
  static const TagStream photoCD;  // "PhotoCD"
  static const TagStream photoshop;  // "Photoshop"
  static const TagStream png;  // "PNG"
  static const TagStream postscript;  // "PostScript"
  static const TagStream ppm;  // "PPM"
  static const TagStream psp;  // "PSP"
  static const TagStream quickTime;  // "QuickTime"
  static const TagStream radiance;  // "Radiance"
  static const TagStream rawzor;  // "Rawzor"
  static const TagStream real;  // "Real"
  static const TagStream red;  // "Red"
  static const TagStream riff;  // "RIFF"
  static const TagStream rsrc;  // "RSRC"
  static const TagStream rtf;  // "RTF"
  static const TagStream samsung;  // "Samsung"
  static const TagStream sigma;  // "Sigma"
  static const TagStream sigmaRaw;  // "SigmaRaw"
  static const TagStream sony;  // "Sony"
  static const TagStream sonyIDC;  // "SonyIDC"
  static const TagStream svg;  // "SVG"
  static const TagStream theora;  // "Theora"
  static const TagStream torrent;  // "Torrent"
  static const TagStream trailers;  // "Trailers"
  static const TagStream unknown;  // "Unknown"
  static const TagStream vCalendar;  // "VCalendar"
  static const TagStream vCard;  // "VCard"
  static const TagStream vorbis;  // "Vorbis"
  static const TagStream xml;  // "XML"
  static const TagStream xmp;  // "XMP"
  static const TagStream zip;  // "ZIP"
};

// The key of a tag inside its stream.
class TagKey : public TagNamePart<TagKeyTag> {
 public:
  using TagNamePart::TagNamePart;

  static const TagKey artist;  // "Artist"
  static const TagKey copyright;  // "Copyright"
  static const TagKey fileName;  // "FileName"
  static const TagKey directory;  // "Directory"
  static const TagKey fileSize;  // "FileSize"
  static const TagKey fileModify;  // "FileModificationDate"
  static const TagKey fileAccess;  // "FileAccessDate"
  static const TagKey fileInode;  // "FileInodeChangeDate"
  static const TagKey filePermissions;  // "FilePermissions"
  static const TagKey fileType;  // "FileType"
  static const TagKey fileTypeExt;  // "FileTypeExtension"
  static const TagKey mimeType;  // "MIMEType"
  static const TagKey exifByteOrder;  // "ExifByteOrder"
  static const TagKey imageWidth;  // "ImageWidth"
  static const TagKey imageHeight;  // "ImageHeight"
  static const TagKey encodingProcess;  // "EncodingProcess"
  static const TagKey bitsPerSample;  // "BitsPerSample"
  static const TagKey colorsComps;  // "Color Components"
  static const TagKey ycbcrsubSampling;  // "YCbCrSubSampling"
  static const TagKey imageDescription;  // "ImageDescription"
  static const TagKey make;  // "Make"
  static const TagKey cameraModelName;  // "CameraModelName"
  static const TagKey orientation;  // "Orientation"
  static const TagKey xResolution;  // "XResolution"
  static const TagKey yResolution;  // "YResolution"
  static const TagKey resolutionUnit;  // "ResolutionUnit"
  static const TagKey software;  // "Software"
  static const TagKey ycbcrPositioning;  // "YCbCrPositioning"
  static const TagKey exposureTime;  // "ExposureTime"
  static const TagKey fNumber;  // "FNumber"
  static const TagKey exposureProgram;  // "ExposureProgram"
  static const TagKey iso;  // "ISO"
  static const TagKey exifVersion;  // "ExifVersion"
  static const TagKey originalDateTime;  // "DateTimeOriginal"
  static const TagKey createDate;  // "CreateDate"
  static const TagKey modifyDate;  // "ModifyDate"
  static const TagKey city;  // "City"
  static const TagKey provinceState;  // "Province-State"
  static const TagKey countryPrimaryLocationName;  // "Country-PrimaryLocationName"
  static const TagKey countryPrimaryLocationCode;  // "Country-PrimaryLocationCode"
  static const TagKey compsConfigs;  // "ComponentsConfiguration"
  static const TagKey compressed;  // "Compressed"
  static const TagKey shutterSpeedValue;  // "ShutterSpeedValue"
  static const TagKey apertureValue;  // "ApertureValue"
  static const TagKey exposureCompensation;  // "ExposureCompensation"
  static const TagKey maxAperture;  // "MaxApertureValue"
  static const TagKey subjectDistance;  // "SubjectDistance"
  static const TagKey meteringMode;  // "MeteringMode"
  static const TagKey lightSource;  // "LightSource"
  static const TagKey flash;  // "Flash"
  static const TagKey focalLength;  // "FocalLength"
  static const TagKey userComment;  // "UserComment"
  static const TagKey flashPixVersion;  // "FlashpixVersion"
  static const TagKey colorspace;  // "ColorSpace"
  static const TagKey exifImageWidth;  // "ExifImageWidth"
  static const TagKey exifImageHeight;  // "ExifImageHeight"
  static const TagKey interopIndex;  // "InteroperabilityIndex"
  static const TagKey interopVersion;  // "InteroperabilityVersion"
  static const TagKey exposureIndex;  // "ExposureIndex"
  static const TagKey sensingMethod;  // "SensingMethod"
  static const TagKey fileSource;  // "FileSource"
  static const TagKey sceneType;  // "SceneType"
  static const TagKey customRendered;  // "CustomRendered"
  static const TagKey exposureMode;  // "ExposureMode"
  static const TagKey whiteBalance;  // "WhiteBalance"
  static const TagKey digitalZoomRatio;  // "DigitalZoomRatio"
  static const TagKey focalLengthIn35;  // "FocalLengthIn35mmFormat"
  static const TagKey sceneCaptureType;  // "SceneCaptureType"
  static const TagKey gainControl;  // "GainControl"
  static const TagKey contrast;  // "Contrast"
  static const TagKey saturation;  // "Saturation"
  static const TagKey sharpness;  // "Sharpness"
  static const TagKey sujectDistanceRange;  // "SubjectDistanceRange"
  static const TagKey gpsVersionID;  // "GPSVersionID"
  static const TagKey gpsLatitude;  // "GPSLatitude"
  static const TagKey gpsLatitudeRef;  // "GPSLatitudeRef"
  static const TagKey gpsLongitude;  // "GPSLongitude"
  static const TagKey gpsLongitudeRef;  // "GPSLongitudeRef"
  static const TagKey gpsAltitude;  // "GPSAltitude"
  static const TagKey gpsAltitudeRef;  // "GPSAltitudeRef"
  static const TagKey gpsImgDirection;  // "GPSImgDirection"
  static const TagKey gpsImgDirectionRef;  // "GPSImgDirectionRef"
  static const TagKey gpsDateStamp;  // "GPSDateStamp"
  static const TagKey gpsTimeStamp;  // "GPSTimeStamp"
  static const TagKey gpsPosition;  // "GPSPosition"
  static const TagKey gpsMapDatum;  // "GPSMapDatum"
  static const TagKey compression;  // "Compression"
  static const TagKey thumbnailOffset;  // "ThumbnailOffset"
  static const TagKey thumbnailLength;  // "ThumbnailLength"
  static const TagKey thumbnailImage;  // "ThumbnailImage"
  static const TagKey previewImageLength;  // "PreviewImageLength"
  static const TagKey previewImage;  // "PreviewImage"
  static const TagKey aperture;  // "Aperture"
  static const TagKey imageSize;  // "ImageSize"
  static const TagKey megapixels;  // "Megapixels"
  static const TagKey scaleFactorIn35;  // "ScaleFactorTo35mmEquivalent"
  static const TagKey shutterSpeed;  // "ShutterSpeed"
  static const TagKey circleOfConfusion;  // "CircleOfConfusion"
  static const TagKey fieldOfView;  // "FieldOfView"
  static const TagKey hyperfocalDistance;  // "HyperfocalDistance"
  static const TagKey lightValue;  // "LightValue"
  static const TagKey keywords;  // "Keywords"
  static const TagKey tags;  // "Tags"
  static const TagKey headline;  // "Headline"
  static const TagKey dateCreated;  // "DateCreated"
};

// The constants below are made when the library loads; code of other units must not use them
// from its own load-time initialisers (function-local statics are fine).

// A tag's full name: stream and key, with the text form "stream:key".
//
// A value type, ordered by stream then key, hashed on both. It does not check the catalogue:
// a TagName can name a tag that does not exist. Coded in JSON as one bare string.
enum class TagNameParsingErrorCode { notParsableRawValue };

class TagName {
 public:
  // Thrown when decoding a text that holds no ":". Its text is the code's name,
  // "notParsableRawValue".
  class ParsingError : public CodedError<ParsingError, TagNameParsingErrorCode> {
   public:
    using CodedError::CodedError;
    ParsingError() : CodedError(Code::notParsableRawValue) {}
    static const char* text(Code code);
  };

  TagName() = default;
  TagName(TagStream stream, TagKey key) : stream_(std::move(stream)), key_(std::move(key)) {}
  TagName(std::string_view rawStream, std::string_view rawKey) : stream_(rawStream), key_(rawKey) {}

  // Parses "stream:key": split at the first ":", both halves trimmed of blanks and tabs.
  // Absent when the text holds no ":".
  static std::optional<TagName> fromRawValue(std::string_view rawValue);

  const TagStream& stream() const { return stream_; }
  const TagKey& key() const { return key_; }
  // stream + ":" + key, no escaping.
  std::string rawValue() const;
  std::string description() const { return rawValue(); }

  bool isRelativeToGPS() const;        // in gpsTagNames()
  bool isRelativeToThumbnail() const;  // in thumbnailTagNames()

  friend bool operator==(const TagName&, const TagName&) = default;
  friend std::strong_ordering operator<=>(const TagName& lhs, const TagName& rhs) {
    if (auto order = lhs.stream_ <=> rhs.stream_; order != 0) return order;
    return lhs.key_ <=> rhs.key_;
  }

  static const TagName exifThumbnailImage;  // "EXIF:ThumbnailImage"
  static const TagName exifThumbnailLength;  // "EXIF:ThumbnailLength"
  static const TagName exifPreviewImage;  // "EXIF:PreviewImage"
  static const TagName exifPreviewImageLength;  // "EXIF:PreviewImageLength"
  static const TagName fileImageWidth;  // "File:ImageWidth"
  static const TagName fileImageHeight;  // "File:ImageHeight"
  static const TagName exifImageDescription;  // "EXIF:ImageDescription"
  static const TagName exifImageWidth;  // "EXIF:ImageWidth"
  static const TagName exifImageHeight;  // "EXIF:ImageHeight"
  static const TagName exifExifImageWidth;  // "EXIF:ExifImageWidth"
  static const TagName exifExifImageHeight;  // "EXIF:ExifImageHeight"
  static const TagName pngImageWidth;  // "PNG:ImageWidth"
  static const TagName pngImageHeight;  // "PNG:ImageHeight"
  static const TagName exifGPSLatitude;  // "EXIF:GPSLatitude"
  static const TagName exifGPSLatitudeRef;  // "EXIF:GPSLatitudeRef"
  static const TagName exifGPSLongitude;  // "EXIF:GPSLongitude"
  static const TagName exifGPSLongitudeRef;  // "EXIF:GPSLongitudeRef"
  static const TagName exifGPSAltitude;  // "EXIF:GPSAltitude"
  static const TagName exifGPSAltitudeRef;  // "EXIF:GPSAltitudeRef"
  static const TagName exifGPSImgDirection;  // "EXIF:GPSImgDirection"
  static const TagName exifGPSImgDirectionRef;  // "EXIF:GPSImgDirectionRef"
  static const TagName exifGPSDateStamp;  // "EXIF:GPSDateStamp"
  static const TagName exifGPSTimeStamp;  // "EXIF:GPSTimeStamp"
  static const TagName exifCreateDate;  // "EXIF:CreateDate"
  static const TagName exifModifyDate;  // "EXIF:ModifyDate"
  static const TagName iptcHeadline;  // "IPTC:Headline"
  static const TagName iptcDateCreated;  // "IPTC:DateCreated"
  static const TagName iptcKeywords;  // "IPTC:Keywords"
  static const TagName orvfinderTags;  // "ORVFinder:Tags"

  // exifGPSLatitude, exifGPSLongitude, exifGPSLatitudeRef, exifGPSLongitudeRef,
  // exifGPSAltitude, exifGPSDateStamp, exifGPSTimeStamp (not the altitude reference nor the
  // image direction).
  static const std::vector<TagName>& gpsTagNames();
  // exifThumbnailLength, exifThumbnailImage, exifPreviewImage, exifPreviewImageLength.
  static const std::vector<TagName>& thumbnailTagNames();

 private:
  TagStream stream_;
  TagKey key_;
};

// Tells group-0 streams from maker streams.
class TagsFamily {
 public:
  TagsFamily() = delete;

  // The lower-case names of exiftool's family 0 (97 entries, " gopro" with its leading blank).
  static const std::unordered_set<std::string>& g0Family();
  static bool isNameInG0Family(const TagName& name);
  static bool isStreamInG0Family(const TagStream& stream);
  // The name itself when its stream is in the family; otherwise the same key under
  // "MakerNotes", the group-0 name exiftool accepts on write.
  static TagName fixMakerNotes(const TagName& name);
};

std::ostream& operator<<(std::ostream& out, const TagStream& stream);
std::ostream& operator<<(std::ostream& out, const TagKey& key);
std::ostream& operator<<(std::ostream& out, const TagName& name);

// JSON: each as one bare string. Decoding a TagName without ":" throws TagName::ParsingError.
void to_json(nlohmann::json& json, const TagStream& stream);
void from_json(const nlohmann::json& json, TagStream& stream);
void to_json(nlohmann::json& json, const TagKey& key);
void from_json(const nlohmann::json& json, TagKey& key);
void to_json(nlohmann::json& json, const TagName& name);
void from_json(const nlohmann::json& json, TagName& name);

}  // namespace orvelin

template <>
struct std::hash<orvelin::TagStream> {
  std::size_t operator()(const orvelin::TagStream& stream) const noexcept {
    return std::hash<std::string>{}(stream.canonical());
  }
};

template <>
struct std::hash<orvelin::TagKey> {
  std::size_t operator()(const orvelin::TagKey& key) const noexcept { return std::hash<std::string>{}(key.canonical()); }
};

template <>
struct std::hash<orvelin::TagName> {
  std::size_t operator()(const orvelin::TagName& name) const noexcept {
    const std::size_t stream = std::hash<std::string>{}(name.stream().canonical());
    const std::size_t key = std::hash<std::string>{}(name.key().canonical());
    return stream ^ (key + 0x9e3779b97f4a7c15ULL + (stream << 6) + (stream >> 2));
  }
};

#pragma once

#include <string>
#include <vector>

#include "orvelin/editor/metadata_editor.h"

// Finder tags, and their copies to and from the IPTC keywords, built on the slots of
// MetadataEditor, with the rules and thread-safety told in editor_values.h.

namespace orvelin {

// The pending tags, else the file's (two separate reads).
std::vector<std::string> currentFinderTags(const MetadataEditor& editor);
// No Finder tags pending.
bool areOriginalFinderTags(const MetadataEditor& editor);
void restoreFinderTags(MetadataEditor& editor);
// IPTC:Keywords set to the current Finder tags joined by ","; refused while locked.
void copyFinderTagsToIPTCKeywords(MetadataEditor& editor);
// The Finder tags set to IPTC:Keywords split at ","; no keywords drops pending Finder tags.
// Allowed while locked, as setFinderTags() is.
void copyIPTCKeywordsToFinderTags(MetadataEditor& editor);

}  // namespace orvelin

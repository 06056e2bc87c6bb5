#pragma once

#include <optional>
#include <string>
#include <vector>

#include "orvelin/editor/metadata_editor.h"
#include "orvelin/tags/tag_item.h"
#include "orvelin/tags/tag_name.h"
#include "orvelin/values/value.h"

// Values by name and by catalogue record, built on the slots of MetadataEditor.
//
// These operations, like those of the other editor_*.h headers, keep no state. Every read and
// write goes through the editor's public slots, so the editor's rules hold for each tag they
// touch: a tag that cannot be edited is skipped on its own (a group of tags may be half
// written), and a locked editor refuses every value write silently. Each slot call takes the
// editor's lock for itself alone: an operation made of several reads and writes is not atomic,
// and a change made by another thread between two of its steps goes unnoticed (two concurrent
// merges can lose one). Operations said to run "in a session" wrap their writes in one session
// of EditionsManager::shared(), so that observers hear of them once; sessions group
// notifications and exclude nothing. Like the slots, none of them may be called from an
// observer of this editor's or the manager's notifications without changing thread first.
//
// Vocabulary: to clear (or erase) a tag is to set it to the empty text, an edit that deletes
// the tag at the next save; to restore it is to set it to absent, withdrawing any edit.

namespace orvelin {

void restoreValue(MetadataEditor& editor, const TagName& name);
void restoreValues(MetadataEditor& editor, const std::vector<TagName>& names);
void clearValue(MetadataEditor& editor, const TagName& name);
void clearValues(MetadataEditor& editor, const std::vector<TagName>& names);
std::optional<std::string> currentValue(const MetadataEditor& editor, const TagItem& tag);
void setValue(MetadataEditor& editor, const std::optional<std::string>& value, const TagItem& tag);
// The current value read by the record's converter; an absent value goes through it as
// absent, and a cleared one as the empty text.
std::optional<Value> currentRawValue(const MetadataEditor& editor, const TagItem& tag);
// The value written by the record's converter, then set; a value the converter gives no text
// for (absent included) restores the tag rather than clearing it.
void setRawValue(MetadataEditor& editor, const std::optional<Value>& value, const TagItem& tag);

}  // namespace orvelin

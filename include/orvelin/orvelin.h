#pragma once

// Everything a host may use, in one include: every public header, subsystem by subsystem from
// the bottom layer up.

#include "orvelin/version.h"

#include "orvelin/support/atomic.h"
#include "orvelin/support/clock.h"
#include "orvelin/support/coded_error.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/executor.h"
#include "orvelin/support/fatal.h"
#include "orvelin/support/file_system.h"
#include "orvelin/support/files.h"
#include "orvelin/support/format.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/note_subscriber.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/operation_queue.h"
#include "orvelin/support/parallel.h"
#include "orvelin/support/pasteboard.h"
#include "orvelin/support/process_runner.h"
#include "orvelin/support/resources.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/support/strings_table.h"
#include "orvelin/support/text_encoding.h"
#include "orvelin/support/text_search.h"
#include "orvelin/support/user_defaults.h"

#include "orvelin/values/coordinate.h"
#include "orvelin/values/coordinate_parser.h"
#include "orvelin/values/coordinate_writer.h"
#include "orvelin/values/country3166a3.h"
#include "orvelin/values/date_edition.h"
#include "orvelin/values/date_time_value_converter.h"
#include "orvelin/values/date_values.h"
#include "orvelin/values/location.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

#include "orvelin/tags/tag_access.h"
#include "orvelin/tags/tag_item.h"
#include "orvelin/tags/tag_name.h"
#include "orvelin/tags/tag_type.h"

#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/exiftool/language.h"
#include "orvelin/exiftool/one_command_jobs.h"
#include "orvelin/exiftool/write_report.h"

#include "orvelin/imageservice/image.h"

#include "orvelin/catalogue/catalogue_run.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/catalogue/tags_resources_reader.h"
#include "orvelin/catalogue/tags_resources_writer.h"

#include "orvelin/editions/editions_manager.h"

#include "orvelin/storage/generic_storage.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/storage/metadata_et_writer.h"
#include "orvelin/storage/read_only_storage.h"
#include "orvelin/storage/read_write_storage.h"

#include "orvelin/presets/preset.h"
#include "orvelin/presets/preset_entry.h"

#include "orvelin/editor/editor_batch.h"
#include "orvelin/editor/editor_dates.h"
#include "orvelin/editor/editor_editions.h"
#include "orvelin/editor/editor_finder_tags.h"
#include "orvelin/editor/editor_gps.h"
#include "orvelin/editor/editor_image_facts.h"
#include "orvelin/editor/editor_values.h"
#include "orvelin/editor/et_editors.h"
#include "orvelin/editor/metadata_editor.h"

#include "orvelin/tasks/image_tasks.h"
#include "orvelin/tasks/task_item.h"
#include "orvelin/tasks/tasks_group.h"
#include "orvelin/tasks/tasks_manager.h"

#include "orvelin/tagsets/tags_set.h"
#include "orvelin/tagsets/tags_set_editor.h"

#include "orvelin/tables/metadata_table.h"

#include "orvelin/interchange/tags_pboard_manager.h"

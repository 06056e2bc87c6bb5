#pragma once

// Everything a host may use, in one include.

#include "orvelin/version.h"

#include "orvelin/support/atomic.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/executor.h"
#include "orvelin/support/fatal.h"
#include "orvelin/support/files.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/note_subscriber.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/operation_queue.h"
#include "orvelin/support/parallel.h"
#include "orvelin/support/process_runner.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/support/text_encoding.h"
#include "orvelin/support/user_defaults.h"

#include "orvelin/tags/tag_name.h"

#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/exiftool/language.h"

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

// qxutils: the general utility library of VeltoCAD. Including this header reaches the whole interface;
// link the target qxutils::qxutils (find_package(qxutils)).

#ifndef QX_QXUTILS_H
#define QX_QXUTILS_H

#include "OdAnsiString.h"
#include "OdArray.h"
#include "OdDbSymUtil.h"
#include "OdError.h"
#include "OdGePoint2d.h"
#include "OdGePoint3d.h"
#include "OdString.h"

#include "ut_assert.h"
#include "ut_call_stack.h"
#include "ut_config.h"
#include "ut_config_node.h"
#include "ut_config_storage.h"
#include "ut_crash_report.h"
#include "ut_csv.h"
#include "ut_dev_settings.h"
#include "ut_file.h"
#include "ut_file_locker.h"
#include "ut_filename.h"
#include "ut_https.h"
#include "ut_json.h"
#include "ut_log.h"
#include "ut_natural_sort.h"
#include "ut_profile.h"
#include "ut_registry.h"
#include "ut_registry_config.h"
#include "ut_reporter.h"
#include "ut_search_path.h"
#include "ut_string.h"
#include "ut_string_parser.h"
#include "ut_system.h"
#include "ut_text_file.h"
#include "ut_win32_types.h"
#include "ut_zip.h"
#include "ut_zlib.h"

#endif

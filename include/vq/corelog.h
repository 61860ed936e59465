// vq_corelog: records of a head- and eye-tracking engine, their binary form, log files and
// links. Including this header brings in every public class of the library.
#pragma once

#include "vq/eod/byteorder.h"
#include "vq/eod/engineoutputbase.h"
#include "vq/eod/engineoutputdata.h"
#include "vq/eod/eoderror.h"
#include "vq/eod/export.h"
#include "vq/eod/eyeclosureoutputdata.h"
#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/gazeoutputdata.h"
#include "vq/eod/headoutputdata.h"
#include "vq/eod/headoutputdatav2.h"
#include "vq/eod/objectids.h"
#include "vq/eod/poolallocation.h"
#include "vq/eod/pupiloutputdata.h"
#include "vq/eod/serializable.h"
#include "vq/eod/serializablecomposite.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"
#include "vq/eod/utils/geomutils.h"
#include "vq/eod/utils/geomutilserror.h"

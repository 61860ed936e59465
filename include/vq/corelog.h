// vq_corelog: records of a head- and eye-tracking engine, their binary form, log files and
// links. Including this header brings in every public class of the library.
#pragma once

#include "vq/eod/byteorder.h"
#include "vq/eod/engineoutputbase.h"
#include "vq/eod/engineoutputdata.h"
#include "vq/eod/eoderror.h"
#include "vq/eod/export.h"
#include "vq/eod/io/bufferedoutputfilestream.h"
#include "vq/eod/io/engineoutputdatafileerror.h"
#include "vq/eod/io/engineoutputdatafilereader.h"
#include "vq/eod/io/engineoutputdatafilewriter.h"
#include "vq/eod/io/fileerrors.h"
#include "vq/eod/io/filereader.h"
#include "vq/eod/io/filewriter.h"
#include "vq/eod/objectids.h"
#include "vq/eod/poolallocation.h"
#include "vq/eod/serializable.h"
#include "vq/eod/serializablecomposite.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"

// vq_corelog: records of a head- and eye-tracking engine, their binary form, log files and
// links. Including this header brings in every public class of the library.
#pragma once

#include "vq/eod/byteorder.h"
#include "vq/eod/engineoutputbase.h"
#include "vq/eod/engineoutputdata.h"
#include "vq/eod/eoderror.h"
#include "vq/eod/export.h"
#include "vq/eod/io/engineoutputdatatcpclient.h"
#include "vq/eod/io/inetaddress.h"
#include "vq/eod/io/inetaddressexception.h"
#include "vq/eod/io/netinitialiser.h"
#include "vq/eod/io/socketerror.h"
#include "vq/eod/io/sockethandle.h"
#include "vq/eod/io/tcpclient.h"
#include "vq/eod/io/tcpendpoint.h"
#include "vq/eod/io/tcpsocket.h"
#include "vq/eod/objectids.h"
#include "vq/eod/poolallocation.h"
#include "vq/eod/serializable.h"
#include "vq/eod/serializablecomposite.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"

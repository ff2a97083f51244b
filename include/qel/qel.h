// Every public header of qel3.
#pragma once

#include <qel/compress.h>
#include <qel/console.h>
#include <qel/datetime.h>
#include <qel/dynamic_library.h>
#include <qel/exception.h>
#include <qel/format.h>
#include <qel/fs.h>
#include <qel/log.h>
#include <qel/mem_pool.h>
#include <qel/param_line.h>
#include <qel/profile.h>
#include <qel/serialize.h>
#include <qel/stream.h>
#include <qel/sysinfo.h>
#include <qel/text_encoding.h>
#include <qel/thread.h>
#include <qel/uuid.h>
#include <qel/variant.h>
#include <qel/version.h>

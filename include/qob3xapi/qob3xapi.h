/* Every header of the library at once.
 *
 * Each may also be included alone. Conventions for strings, ownership, errors and threads that hold for all of them are in
 * docs/memory-and-threads.md. */
#ifndef QOB3XAPI_QOB3XAPI_H
#define QOB3XAPI_QOB3XAPI_H
#include <qob3xapi/frame.h>
#include <qob3xapi/errors.h>
#include <qob3xapi/lineio.h>
#include <qob3xapi/util.h>
#include <qob3xapi/mesgdb.h>
#include <qob3xapi/envelope.h>
#include <qob3xapi/queueid.h>
#include <qob3xapi/address.h>
#include <qob3xapi/header822.h>
#include <qob3xapi/mimeparse.h>
#include <qob3xapi/mimebody.h>
#include <qob3xapi/mimebuild.h>
#include <qob3xapi/submit.h>
#include <qob3xapi/bounce.h>
#include <qob3xapi/dsn.h>
#include <qob3xapi/generate.h>
#include <qob3xapi/rfc1522.h>
#include <qob3xapi/japanese.h>
#include <qob3xapi/dates.h>
#include <qob3xapi/macfile.h>
#include <qob3xapi/magic.h>
#include <qob3xapi/peer.h>
#endif

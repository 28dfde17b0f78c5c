/* The relation library: tables of fixed-length records that processes share, each found by one key (C++ only).
 *
 * A relation lies in a directory as "<name>.db", which holds everything, and "<name>.id0", which says what the first must be.
 * Its key is a NUL-terminated text at one place of the record; ASCII letters compare without regard to case, equal keys stand
 * in the order of insertion. Index 0 is the order of the keys; there is no other.
 *
 *     class People : public tesRel {
 *     public:
 *         People(tesseraBase& session, const char* directory) : tesRel(session, directory, "people") { attach(-1); }
 *         struct { char name[64]; char room[16]; } buffer = {};
 *     private:
 *         void* record() override { return &buffer; }
 *         uint32_t recordSize() const override { return sizeof buffer; }
 *     };
 *
 * An object has a record buffer (the derived class's), a current record (the one last loaded or added, which put and del act
 * on) and, between begin and end, a pass with a place in it. Nothing throws. Every operation leaves its result in status().
 *
 * Results of all operations: 0 done; 2 the disk failed; 3 no such relation, or the object is not attached or came over a fork;
 * 4 no match; 5 a duplicate where none is allowed; 6 no such index; 8 no record or no pass to act on; 17 no (further) record;
 * 18 the disk is full; 22 the file has no bytes at all; 30 a foreign or damaged file, or a record of another size; 46 no
 * permission; 80 the record was changed or deleted by somebody else since it was loaded; 84 others held the file for too
 * long; 87 too many files are open; 101 no memory. A failed operation has changed nothing and has left the buffer alone. */
#ifndef TESSERA_H
#define TESSERA_H
#ifdef __cplusplus
#include <cstdint>
#include <qobplatform/export.h>

/* 0 success; 3 or 22 files cannot be opened; 17 first on an empty relation; 4 from next; other values pass through unchanged. */
using dbError = int32_t;

/* tesseraBase - a database session: what relations are opened in.
 * Shape   none.
 * Units   none.
 * Owner   the caller's. A relation needs it only while it is being opened.
 * Result  none; it cannot fail, and it may be used on both sides of a fork.
 * Thread  any number of threads may open relations in one session.
 * Source  the system's own. */
class QOBPLATAPI tesseraBase {
public:
    tesseraBase();
    ~tesseraBase();
    tesseraBase(const tesseraBase&) = delete;
    tesseraBase& operator=(const tesseraBase&) = delete;
private:
    struct Impl;
    Impl* impl;
};

/* One open relation: <directory>\<name>.db and <name>.id0. Never throws. */
class QOBPLATAPI tesRel {
public:
    /* tesRel - opens a relation.
     * Shape   directory: with either separator, not empty. name: without extension.
     * Units   none.
     * Owner   nothing is kept of the arguments.
     * Result  in status(): 0 open; 3 there is no "<name>.db"; 22 it has length zero; 30 it is foreign, damaged or cut short; 46
     *         no permission; 84 others held it too long; 101 no memory; 2 and 18 of the disk. A file that is refused is left as
     *         it is. A missing or wrong "<name>.id0" is made again. Where the file may only be read the relation is open for
     *         reading: changes give 46.
     * Thread  any; the object then belongs to one thread at a time.
     * Source  the system's own (docs/formats/relation.md). */
    tesRel(tesseraBase& session, const char* directory, const char* name);
    /* ~tesRel - closes the relation; its lock and its pass end.
     * Shape   none.
     * Units   none.
     * Owner   the record buffer is not touched any more. In a child process after a fork nothing of the parent's is.
     * Result  none.
     * Thread  one thread at a time for one object.
     * Source  the system's own. */
    virtual ~tesRel();
    tesRel(const tesRel&) = delete;
    tesRel& operator=(const tesRel&) = delete;

    /* status - what the last operation gave.
     * Shape   none.
     * Units   none.
     * Owner   none.
     * Result  result of the last operation; after construction, of the opening.
     * Thread  one thread at a time for one object.
     * Source  the system's own. */
    dbError status() const;                       /* result of the last operation; after construction, of the opening */

    /* lock - takes the relation's lock.
     * Shape   shared: beside others who share it; false: alone, among all processes and all objects of this one. An object that
     *         has it already keeps it as it is. Where the file may only be read it is always shared.
     * Units   timeout: milliseconds; 0xFFFFFFFF waits without end.
     * Owner   the object's until unlock, its end, or the end of the process.
     * Result  0; 84 when the time is over. Operations of others who do not take the lock are not held up by it.
     * Thread  one thread at a time for one object; who waits holds up nobody else.
     * Source  the system's own. */
    dbError lock(bool shared, uint32_t timeout);  /* called as lock(false, 0xFFFFFFFF) */
    /* unlock - gives the lock back.
     * Shape   none.
     * Units   none.
     * Owner   none.
     * Result  0, also when the object had none.
     * Thread  one thread at a time for one object, not necessarily the one that took it.
     * Source  the system's own. */
    dbError unlock();
    /* begin - begins a sequential pass in the order of that index; an earlier one ends.
     * Shape   none.
     * Units   index: 0.
     * Owner   none.
     * Result  0; 6 for another index.
     * Thread  one thread at a time for one object.
     * Source  the system's own. */
    dbError begin(int32_t index);                 /* sequential pass in the order of that index */
    /* end - ends the pass, if there is one; the current record stays.
     * Shape   none.
     * Units   none.
     * Owner   none.
     * Result  0.
     * Thread  one thread at a time for one object.
     * Source  the system's own. */
    dbError end();
    /* first - loads the first record of the pass.
     * Shape   into the record buffer.
     * Units   none.
     * Owner   none.
     * Result  0; 17 on an empty relation; 8 without a pass.
     * Thread  one thread at a time for one object.
     * Source  the system's own. */
    dbError first();                              /* into the record buffer; 17 on an empty relation */
    /* next - loads the record behind the place of the pass.
     * Shape   into the record buffer. The place is that of the record last loaded by first, next or find, whether it still
     *         stands there or not; records that came or went meanwhile are met or not met accordingly.
     * Units   none.
     * Owner   none.
     * Result  0; 17 at the end, where the place and the current record stay; 4 when there is no place: no pass, or nothing
     *         loaded in it.
     * Thread  one thread at a time for one object.
     * Source  the system's own. */
    dbError next();                               /* into the record buffer; non-zero at the end */
    /* get - loads the record whose key equals the one in the buffer.
     * Shape   into the record buffer; of several the one inserted first. The place of a pass stays.
     * Units   index: 0.
     * Owner   none.
     * Result  0; 4 there is none, and no current record any more; 6 for another index.
     * Thread  one thread at a time for one object.
     * Source  the system's own. */
    dbError get(int32_t index);                   /* the record whose key equals the one in the buffer */
    /* find - as get, within a pass: the pass goes on behind the record.
     * Shape   into the record buffer.
     * Units   none.
     * Owner   none.
     * Result  as get; 8 without a pass.
     * Thread  one thread at a time for one object.
     * Source  the system's own. */
    dbError find();                               /* as get, within a pass */
    /* add - inserts the buffer as a new record, which becomes the current one.
     * Shape   the whole buffer.
     * Units   none.
     * Owner   none.
     * Result  0 it is on stable storage; 5 the key stands already and may not twice.
     * Thread  one thread at a time for one object.
     * Source  the system's own. */
    dbError add();                                /* inserts the buffer */
    /* put - rewrites the current record from the buffer, also after the pass it was loaded in.
     * Shape   the whole buffer; the key may change.
     * Units   none.
     * Owner   none.
     * Result  0 it is on stable storage; 5 as add; 8 no current record; 80.
     * Thread  one thread at a time for one object.
     * Source  the system's own. */
    dbError put();                                /* rewrites the current record */
    /* del - deletes the current record.
     * Shape   the buffer is not looked at.
     * Units   none.
     * Owner   none.
     * Result  0 it is on stable storage; 8 no current record; 80.
     * Thread  one thread at a time for one object.
     * Source  the system's own. */
    dbError del();                                /* deletes the current record */

    /* attach - binds the derived class's record buffer. The virtual operation that a derived constructor calls with -1 after
     * it has cleared its buffer.
     * Shape   recordSize() must be the relation's.
     * Units   index: -1.
     * Owner   record() stays the derived object's, at its place until the object ends.
     * Result  0; when status() is not 0, that; 30 for another record size; 6 for another index.
     * Thread  one thread at a time for one object.
     * Source  the system's own. */
    virtual dbError attach(int32_t index);

    /* create - makes an empty relation (both files); key = NUL-terminated text at that place of the record.
     * Shape   directory and name as for opening; duplicates: several records may have the same key.
     * Units   recordSize: 1 to 65535; keyOffset, keyLength: bytes within the record.
     * Owner   none.
     * Result  0; 59 when either file stands already, which is left alone; 11 no file can have that name; 35 no such directory;
     *         41 no such record or key. The relation appears whole; one that a crash left without its "<name>.id0" gets it when
     *         it is opened.
     * Thread  any.
     * Source  the system's own. */
    static dbError create(const char* directory, const char* name, uint32_t recordSize,
                          uint32_t keyOffset, uint32_t keyLength, bool duplicates);

protected:
    /* Given by each derived class: its record buffer. */
    virtual void*    record() = 0;
    virtual uint32_t recordSize() const = 0;

private:
    struct Impl;
    Impl* impl;
};
#endif
#endif

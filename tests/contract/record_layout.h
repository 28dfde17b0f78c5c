/* The public records' layouts, as callers in any language rely on them. Compiled as C11 and as
 * C++20. */
#ifndef QOB_TESTS_CONTRACT_RECORD_LAYOUT_H
#define QOB_TESTS_CONTRACT_RECORD_LAYOUT_H
#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#include <qob3xapi/qob3xapi.h>
#include <qobplatform/mqapi.h>

#define AT(record, field, offset) \
  static_assert(offsetof(record, field) == (offset), #record "." #field)
#define SIZE(record, size) static_assert(sizeof(record) == (size), #record)

SIZE(QOB_OSHANDLE, sizeof(void*));

#if UINTPTR_MAX == 0xFFFFFFFFFFFFFFFFu
AT(QOB_FILE, handle, 0);
AT(QOB_FILE, name, 8);
AT(QOB_FILE, lineBuffer, 16);
AT(QOB_FILE, position, 24);
AT(QOB_FILE, flushedPosition, 28);
AT(QOB_FILE, access, 32);
AT(QOB_FILE, ioBuffer, 40);
AT(QOB_FILE, cursor, 48);
AT(QOB_FILE, count, 56);
AT(QOB_FILE, buffered, 60);
SIZE(QOB_FILE, 64);

AT(ms, text, 0);
AT(ms, next, 8);
SIZE(ms, 16);

AT(RecipNode, address, 0);
AT(RecipNode, rawText, 8);
AT(RecipNode, phrase, 16);
AT(RecipNode, comment, 24);
AT(RecipNode, localPart, 32);
AT(RecipNode, domain, 40);
AT(RecipNode, next, 48);
SIZE(RecipNode, 56);
AT(RecipTbl, head, 0);
AT(RecipTbl, tail, 8);
AT(RecipTbl, count, 16);
SIZE(RecipTbl, 24);

AT(HeaderAddressList, text, 0);
AT(HeaderAddressList, table, 8);
AT(HeaderAddressList, next, 16);
SIZE(HeaderAddressList, 24);
AT(HeaderDate, text, 0);
AT(HeaderDate, utc, 8);
SIZE(HeaderDate, 16);

/* Twenty-seven pointers in the order of the header. */
AT(addr822, to, 0 * 8);
AT(addr822, resentTo, 1 * 8);
AT(addr822, cc, 2 * 8);
AT(addr822, resentCc, 3 * 8);
AT(addr822, bcc, 4 * 8);
AT(addr822, resentBcc, 5 * 8);
AT(addr822, from, 6 * 8);
AT(addr822, resentFrom, 7 * 8);
AT(addr822, replyTo, 8 * 8);
AT(addr822, returnReceiptTo, 9 * 8);
AT(addr822, subject, 10 * 8);
AT(addr822, sender, 11 * 8);
AT(addr822, messageId, 12 * 8);
AT(addr822, resentMessageId, 13 * 8);
AT(addr822, inReplyTo, 14 * 8);
AT(addr822, references, 15 * 8);
AT(addr822, returnPath, 16 * 8);
AT(addr822, status, 17 * 8);
AT(addr822, fromLine, 18 * 8);
AT(addr822, mimeVersion, 19 * 8);
AT(addr822, contentType, 20 * 8);
AT(addr822, contentTransferEncoding, 21 * 8);
AT(addr822, contentId, 22 * 8);
AT(addr822, contentDescription, 23 * 8);
AT(addr822, received, 24 * 8);
AT(addr822, otherHeaders, 25 * 8);
AT(addr822, date, 26 * 8);
SIZE(addr822, 27 * 8);

AT(MimeBodyPart, contentId, 0);
AT(MimeBodyPart, contentDescription, 8);
AT(MimeBodyPart, contentType, 16);
AT(MimeBodyPart, contentSubtype, 24);
AT(MimeBodyPart, contentTransferEncoding, 32);
AT(MimeBodyPart, contentDisposition, 40);
AT(MimeBodyPart, contentTypeParams, 48);
AT(MimeBodyPart, contentDispositionParams, 56);
AT(MimeBodyPart, fileName, 64);
AT(MimeBodyPart, delimiter, 72);
AT(MimeBodyPart, contentStart, 80);
AT(MimeBodyPart, contentEnd, 84);
AT(MimeBodyPart, bodyStart, 88);
AT(MimeBodyPart, childCount, 92);
AT(MimeBodyPart, trueName, 96);
AT(MimeBodyPart, role, 104);
AT(MimeBodyPart, children, 112);
SIZE(MimeBodyPart, 120);
AT(MimeMessagePool, parts, 0);
AT(MimeMessagePool, count, 8);
SIZE(MimeMessagePool, 16);

AT(EnvFrom, address, 0);
AT(EnvFrom, envelopeId, 8);
AT(EnvFrom, firstOption, 16);
AT(EnvFrom, secondOption, 20);
AT(EnvFrom, optionText, 24);
SIZE(EnvFrom, 32);
AT(EnvRecip, address, 0);
AT(EnvRecip, secondText, 8);
AT(EnvRecip, notifyFlags, 16);
AT(EnvRecip, thirdText, 24);
SIZE(EnvRecip, 32);
AT(MimeRecipient, address, 0);
AT(MimeRecipient, originalRecipient, 8);
AT(MimeRecipient, notifyFlags, 16);
AT(MimeRecipient, fourthText, 24);
AT(MimeRecipient, fifthText, 32);
SIZE(MimeRecipient, 40);
AT(EnvRecipNode, recipient, 0);
AT(EnvRecipNode, next, 8);
SIZE(EnvRecipNode, 16);

AT(MQEnvFrom, address, 0);
AT(MQEnvFrom, envelopeId, 8);
AT(MQEnvFrom, ret, 16);
AT(MQEnvFrom, fourth, 20);
AT(MQEnvFrom, fifthText, 24);
AT(MQEnvFrom, channel, 32);
SIZE(MQEnvFrom, 40);
AT(MQEnvRecip, address, 0);
AT(MQEnvRecip, originalRecipient, 8);
AT(MQEnvRecip, notifyFlags, 16);
AT(MQEnvRecip, fourthText, 24);
AT(MQEnvRecip, fifthText, 32);
SIZE(MQEnvRecip, 40);
AT(MQEnvFromNode, record, 0);
AT(MQEnvFromNode, next, 8);
SIZE(MQEnvFromNode, 16);
AT(MQEnvRecipNode, record, 0);
AT(MQEnvRecipNode, next, 8);
SIZE(MQEnvRecipNode, 16);
AT(MQEnvFromList, head, 0);
AT(MQEnvFromList, tail, 8);
AT(MQEnvFromList, count, 16);
SIZE(MQEnvFromList, 24);
AT(MQEnvRecipList, head, 0);
AT(MQEnvRecipList, tail, 8);
AT(MQEnvRecipList, count, 16);
SIZE(MQEnvRecipList, 24);
AT(stEnvelope, leading, 0);
AT(stEnvelope, senders, 8);
AT(stEnvelope, recipients, 32);
AT(stEnvelope, last, 56);
SIZE(stEnvelope, 64);

AT(PerRecipField, originalRecipient, 0);
AT(PerRecipField, finalRecipient, 8);
AT(PerRecipField, action, 16);
AT(PerRecipField, status, 24);
AT(PerRecipField, remoteMta, 32);
AT(PerRecipField, diagnosticCode, 40);
AT(PerRecipField, lastAttempt, 48);
AT(PerRecipField, willRetryUntil, 52);
SIZE(PerRecipField, 56);
AT(PerRecipFieldNode, field, 0);
AT(PerRecipFieldNode, next, 8);
SIZE(PerRecipFieldNode, 16);
AT(DsnEnvFrom, address, 0);
AT(DsnEnvFrom, envelopeId, 8);
AT(DsnEnvFrom, ret, 16);
AT(DsnEnvFrom, secondOption, 20);
AT(DsnEnvFrom, arrivalTime, 24);
SIZE(DsnEnvFrom, 32);
#endif

/* The same on every system: nine 32-bit numbers. */
AT(UtcDate, year, 0);
AT(UtcDate, month, 4);
AT(UtcDate, day, 8);
AT(UtcDate, hour, 12);
AT(UtcDate, minute, 16);
AT(UtcDate, second, 20);
AT(UtcDate, reserved, 24);
AT(UtcDate, zoneOffset, 28);
AT(UtcDate, flags, 32);
SIZE(UtcDate, 36);

/* Bytes without alignment, and the record as it stands on disk. */
SIZE(MesgHandle, 128);
AT(MesgRecord, key, 0);
AT(MesgRecord, directoryName, 16);
AT(MesgRecord, stateText, 32);
AT(MesgRecord, gap288, 288);
AT(MesgRecord, address, 292);
AT(MesgRecord, creationTime, 804);
AT(MesgRecord, lastChangeTime, 808);
AT(MesgRecord, retryTime, 812);
AT(MesgRecord, retryCount, 816);
AT(MesgRecord, delayNotifyStatus, 820);
AT(MesgRecord, partNumber, 824);
AT(MesgRecord, statusText, 828);
AT(MesgRecord, secondText, 1084);
AT(MesgRecord, envelopeId, 1596);
AT(MesgRecord, firstOption, 1696);
AT(MesgRecord, notifyFlags, 1700);
AT(MesgRecord, optionText, 1704);
AT(MesgRecord, secondOption, 2216);
AT(MesgRecord, reserved2220, 2220);
SIZE(MesgRecord, 2224);

AT(QueueScanFilter, minimumSize, 0);
AT(QueueScanFilter, maximumSize, 4);
AT(QueueScanFilter, takeAll, 8);
SIZE(QueueScanFilter, 12);

AT(MagicRecord, extension, 0);
AT(MagicRecord, contentType, 10);
AT(MagicRecord, contentSubtype, 60);
AT(MagicRecord, textA, 188);
AT(MagicRecord, textB, 238);
AT(MagicRecord, macTypeCreator, 366);
SIZE(MagicRecord, 376);
/* Room for the NUL behind a last field that fills its place. */
SIZE(MagicRecordBuffer, 377);

AT(PeerRecord, domain, 0);
AT(PeerRecord, reserved, 128);
AT(PeerRecord, flag0, 132);
AT(PeerRecord, AcceptMail, 136);
AT(PeerRecord, flag2, 140);
AT(PeerRecord, flag3, 144);
AT(PeerRecord, value4, 148);
AT(PeerRecord, MaxInBoundSize, 152);
AT(PeerRecord, MaxOutBoundSize, 156);
AT(PeerRecord, MesageQueuedBeforeAttempt, 160);
AT(PeerRecord, QueueRunInterval, 164);
AT(PeerRecord, RetryPeriod, 168);
AT(PeerRecord, MaxSMTPSessions, 172);
AT(PeerRecord, MaxMesgPerSession, 176);
SIZE(PeerRecord, 180);
AT(PeerDomainInfo, accept, 0);
AT(PeerDomainInfo, maxInBoundSize, 4);
SIZE(PeerDomainInfo, 8);

#undef AT
#undef SIZE
#endif

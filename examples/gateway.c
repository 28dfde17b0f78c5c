/* A gateway: takes mail by SMTP on standard input and output and puts it into the queue. One
 * process serves one connection, as inetd or a systemd socket with Accept=yes start it.
 *
 *   gateway CHANNEL
 *
 * What it shows: the small databases are asked (banned senders, the largest message, whether mail
 * of a domain is accepted), the message is written into an entry of the queue, and only when
 * SubmitMQMessage has returned success does the client hear that it was taken: from then on the
 * message exists exactly once. Whatever ends the process before leaves nothing in the queue but a
 * lock and a file that 'qob queue check' knows.
 *
 * Only CR LF "." CR LF ends a message. A line end of another kind is refused, not repaired: where
 * two systems disagree about it, one message can carry a second one inside. */
#include <qob3xapi/qob3xapi.h>
#include <qobplatform/mqapi.h>

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum { kLine = 2048, kPath = 256, kMostRecipients = 1000 };
enum { kHeadersOnly = 1, kFullMessage = 2 };

typedef struct Session {
  const char* channel;
  char client[kPath]; /* what it calls itself; empty before HELO */
  EnvFrom sender;     /* address null before MAIL */
  EnvRecipNode* recipients;
  EnvRecipNode** last;
  int count;
  long limit; /* bytes of the message; 0 none */
} Session;

/* As in "MAIL" and "mail"; the C library has no such comparison of its own. */
static int EqualFold(const char* left, const char* right, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    if (tolower((unsigned char)left[i]) != tolower((unsigned char)right[i])) return 0;
    if (left[i] == '\0') break;
  }
  return 1;
}

static void Reply(const char* text) {
  fputs(text, stdout);
  fputs("\r\n", stdout);
}

static char* Copy(const char* text, size_t length) {
  char* copy = malloc(length + 1);
  if (copy == NULL) exit(75);
  memcpy(copy, text, length);
  copy[length] = '\0';
  return copy;
}

static void Reset(Session* session) {
  free(session->sender.address);
  free(session->sender.envelopeId);
  memset(&session->sender, 0, sizeof session->sender);
  while (session->recipients != NULL) {
    EnvRecipNode* node = session->recipients;
    session->recipients = node->next;
    free(node->recipient->address);
    free(node->recipient->secondText);
    free(node->recipient);
    free(node);
  }
  session->last = &session->recipients;
  session->count = 0;
}

/* One line without its CR LF. 0 the connection has ended, -1 the line is too long or has a CR, LF or
 * NUL where none may be; the rest of such a line is passed over. */
static int ReadLine(char* line) {
  size_t length = 0;
  int bad = 0;
  for (int c = getchar(); c != EOF; c = getchar()) {
    if (c == '\n') {
      if (length == 0 || line[length - 1] != '\r') return -1;
      line[length - 1] = '\0';
      return bad || strlen(line) != length - 1 || strchr(line, '\r') != NULL ? -1 : 1;
    }
    if (length + 1 < kLine) {
      line[length++] = (char)c;
    } else {
      bad = 1;
      line[length - 1] = (char)c;
    }
  }
  return 0;
}

/* The address of "FROM:<...>" or "TO:<...>"; *rest: the parameters behind it. Null for another
 * form. */
static char* AddressOf(const char* text, const char* word, const char** rest) {
  const size_t length = strlen(word);
  const char* begin;
  const char* end;
  if (!EqualFold(text, word, length)) return NULL;
  begin = text + length;
  while (*begin == ' ') ++begin;
  if (*begin++ != '<') return NULL;
  if (*begin == '@') { /* a source route is passed over */
    begin = strchr(begin, ':');
    if (begin++ == NULL) return NULL;
  }
  end = strchr(begin, '>');
  /* A quoted local part may hold anything; this program has no use for one. */
  if (end != NULL && memchr(begin, '"', (size_t)(end - begin)) != NULL) return NULL;
  if (end == NULL || end - begin > kPath || (end[1] != '\0' && end[1] != ' ')) return NULL;
  *rest = end + 1;
  return Copy(begin, (size_t)(end - begin));
}

/* The value of "NAME=value" among the parameters; null without it. */
static char* Parameter(const char* rest, const char* name) {
  const size_t length = strlen(name);
  for (const char* at = rest; at != NULL && *at != '\0'; at = strchr(at, ' ')) {
    while (*at == ' ') ++at;
    if (EqualFold(at, name, length) && at[length] == '=') {
      return Copy(at + length + 1, strcspn(at + length + 1, " "));
    }
  }
  return NULL;
}

static const char* DomainOf(const char* address) {
  const char* at = strrchr(address, '@');
  return at == NULL ? "" : at + 1;
}

/* When the sender of the recipient's copy wants to hear of it. */
static int32_t NotifyFlags(const char* rest) {
  static const char* const names[] = {"SUCCESS", "FAILURE", "DELAY", "NEVER"};
  char* value = Parameter(rest, "NOTIFY");
  int32_t flags = 0;
  for (char* word = value == NULL ? NULL : strtok(value, ","); word; word = strtok(NULL, ",")) {
    for (int bit = 0; bit < 4; ++bit) flags |= EqualFold(word, names[bit], kLine) ? 1 << bit : 0;
  }
  free(value);
  return flags;
}

static void TakeSender(Session* session, const char* text) {
  const char* rest = NULL;
  char* address = AddressOf(text, "FROM:", &rest);
  char *size, *ret;
  if (session->client[0] == '\0' || session->sender.address != NULL || address == NULL) {
    Reply(address == NULL ? "501 5.5.4 give FROM:<address>" : "503 5.5.1 not now");
    free(address);
    return;
  }
  if (*address != '\0' && (BanUserExist(address) || !GetAcceptMailValue(DomainOf(address)))) {
    Reply("550 5.7.1 mail of this sender is not taken");
    free(address);
    return;
  }
  session->limit = GetMaxInBoundSize(DomainOf(address));
  size = Parameter(rest, "SIZE");
  if (size != NULL && session->limit > 0 && strtol(size, NULL, 10) > session->limit) {
    Reply("552 5.3.4 larger than is taken of this sender");
    free(address);
  } else {
    ret = Parameter(rest, "RET");
    session->sender.address = *address == '\0' ? Copy("<>", 2) : Copy(address, strlen(address));
    session->sender.envelopeId = Parameter(rest, "ENVID");
    if (ret != NULL) {
      session->sender.firstOption = EqualFold(ret, "FULL", kLine) ? kFullMessage : kHeadersOnly;
    }
    free(ret);
    free(address);
    Reply("250 2.1.0 sender taken");
  }
  free(size);
}

static void TakeRecipient(Session* session, const char* text) {
  const char* rest = NULL;
  char* address = AddressOf(text, "TO:", &rest);
  EnvRecipNode* node;
  if (session->sender.address == NULL || address == NULL || *address == '\0') {
    Reply(session->sender.address == NULL ? "503 5.5.1 MAIL comes first"
                                          : "501 5.1.3 give TO:<address>");
    free(address);
    return;
  }
  if (session->count == kMostRecipients) {
    Reply("452 4.5.3 send the others in another transaction");
    free(address);
    return;
  }
  node = calloc(1, sizeof *node);
  if (node != NULL) node->recipient = calloc(1, sizeof *node->recipient);
  if (node == NULL || node->recipient == NULL) exit(75);
  node->recipient->address = address;
  node->recipient->secondText = Parameter(rest, "ORCPT");
  node->recipient->notifyFlags = NotifyFlags(rest);
  *session->last = node;
  session->last = &node->next;
  ++session->count;
  Reply("250 2.1.5 recipient taken");
}

/* The trace field that every system on the road writes in front. */
static void WriteTrace(FILE* to, const Session* session, const char* id) {
  char host[128], date[64];
  const time_t now = time(NULL);
  const char* name = strrchr(id, '\\');
  QOBGetPrivateProfileString("Connection", "GatewayHostName", "twgate", host, sizeof host,
                             "twmta.ini");
  strftime(date, sizeof date, "%a, %d %b %Y %H:%M:%S +0000", gmtime(&now));
  fprintf(to, "Received: from %s by %s with ESMTP id %s;\r\n\t%s\r\n", session->client, host,
          name == NULL ? id : name + 1, date);
}

/* Lines up to the lone full stop. 1 all of it; 0 the client has gone; -1 a bare CR or LF; -2 larger
 * than the limit. The rest of a message that is not taken is still read. */
static int CopyMessage(FILE* to, long limit) {
  int result = 1, begin = 1, previous = 0;
  long size = 0;
  for (int c = getchar(); c != EOF; c = getchar()) {
    if (begin && c == '.') { /* the end, or a line that begins with one more */
      c = getchar();
      if (c == '\r') {
        c = getchar();
        if (c == '\n') return result;
        result = -1;
      }
      if (c == EOF) return 0;
    }
    if ((c == '\n') != (previous == '\r')) result = -1;
    if (limit > 0 && ++size > limit && result == 1) result = -2;
    if (result == 1) putc(c, to);
    begin = c == '\n' && previous == '\r';
    previous = c;
  }
  return 0;
}

/* filecreate makes a file that only its owner may read; stdio tells when the disk is full. */
static FILE* CreateMessage(const char* id) {
  char name[1024];
  char* native;
  FILE* file;
  if (snprintf(name, sizeof name, "%s.msg", id) >= (int)sizeof name) return NULL;
  if (fileclose(filecreate(name, 0, 0)) != 1) return NULL;
  native = QOBNativePath(name);
  file = native == NULL ? NULL : fopen(native, "r+b");
  FreeString(native);
  return file;
}

static const char* Answer(int copied, int written) {
  if (copied == -1) return "550 5.6.0 a line ends in CR LF and has no other CR or LF";
  if (copied == -2) return "552 5.3.4 larger than is taken of this sender";
  return written ? NULL : "451 4.3.0 it could not be written: try again later";
}

/* The whole of a transaction's end. False when the client has gone. */
static int TakeMessage(Session* session) {
  struct MQContext* entry = QOBGetNewMQEntry();
  char* id = entry == NULL ? NULL : QOBGetNewMQId(entry);
  FILE* file = id == NULL ? NULL : CreateMessage(id);
  const char* refusal;
  int copied, written;
  if (file == NULL) {
    Reply("451 4.3.0 the queue takes nothing now: try again later");
    if (entry != NULL) DiscardMQEntry(entry);
    QOBFreeMQId(id);
    return 1;
  }
  Reply("354 end with a line that holds a full stop alone");
  fflush(stdout);
  WriteTrace(file, session, id);
  copied = CopyMessage(file, session->limit);
  written = !ferror(file);
  written = fclose(file) == 0 && written;
  refusal = Answer(copied, written);
  if (copied == 0 || refusal != NULL) {
    DiscardMQEntry(entry);
    if (refusal != NULL) Reply(refusal);
  } else if (SubmitMQMessage(entry, &session->sender, session->recipients, session->channel)) {
    printf("250 2.0.0 %s is in the queue\r\n", strrchr(id, '\\') + 1);
  } else {
    Reply("451 4.3.0 it could not be queued: try again later");
  }
  QOBFreeMQId(id);
  Reset(session);
  return copied != 0;
}

static void Greet(Session* session, const char* name, int extended) {
  Reset(session);
  session->client[0] = '\0';
  if (*name == '\0' || strlen(name) >= sizeof session->client ||
      strspn(name, "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._:[]") !=
          strlen(name)) {
    Reply("501 5.5.4 give your name");
    return;
  }
  strcpy(session->client, name);
  Reply(extended ? "250-ready\r\n250-PIPELINING\r\n250-8BITMIME\r\n250-SIZE\r\n250-DSN\r\n"
                   "250 ENHANCEDSTATUSCODES"
                 : "250 ready");
}

static int Is(const char* line, const char* word) {
  const size_t length = strlen(word);
  return EqualFold(line, word, length) && (line[length] == '\0' || line[length] == ' ');
}

/* False ends the session. */
static int Serve(Session* session, const char* line) {
  const char* text = strchr(line, ' ') == NULL ? "" : strchr(line, ' ') + 1;
  if (Is(line, "QUIT")) {
    Reply("221 2.0.0 bye");
    return 0;
  }
  if (Is(line, "EHLO") || Is(line, "HELO")) {
    Greet(session, text, Is(line, "EHLO"));
  } else if (Is(line, "MAIL")) {
    TakeSender(session, text);
  } else if (Is(line, "RCPT")) {
    TakeRecipient(session, text);
  } else if (Is(line, "DATA")) {
    if (session->count > 0) return TakeMessage(session);
    Reply("503 5.5.1 RCPT comes first");
  } else if (Is(line, "RSET")) {
    Reset(session);
    Reply("250 2.0.0 forgotten");
  } else if (Is(line, "NOOP")) {
    Reply("250 2.0.0 yes");
  } else if (Is(line, "VRFY")) {
    Reply("252 2.1.5 send it and see");
  } else {
    Reply("500 5.5.2 what is that?");
  }
  return 1;
}

int main(int count, char** arguments) {
  Session session = {.channel = arguments[count - 1]};
  char line[kLine];
  int got;
  if (count != 2 || *session.channel == '\0') {
    fputs("usage: gateway CHANNEL\n", stderr);
    return 64;
  }
  Reset(&session);
  if (!InitQOBDll("gateway")) {
    Reply("421 4.3.0 the queue cannot be reached: try again later");
    return 75;
  }
  libpeer_init();
  Reply("220 ready");
  do {
    fflush(stdout);
    got = ReadLine(line);
    if (got < 0) Reply("500 5.5.2 a line ends in CR LF and has at most 2046 characters");
  } while (got < 0 || (got > 0 && Serve(&session, line)));
  fflush(stdout);
  Reset(&session);
  libpeer_fini();
  MQTerminate(); /* start-up connected to the queue; this lets its database go */
  TerminateQOBDll();
  return 0;
}

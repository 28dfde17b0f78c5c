/* peer_dump: the leaves of messages as GMime sees them, for the road tests.
 *
 * Reads lines "FILE<tab>DIRECTORY" and answers each with the number of leaves on a line, then one
 * line "type/subtype<tab>name" per leaf, in order, and one line "subject<tab>from<tab>to<tab>cc";
 * names and header values are UTF-8 in hexadecimal digits, "-" for none. The decoded content of
 * leaf N is left in DIRECTORY under the number N. */
#include <gmime/gmime.h>
#include <stdio.h>
#include <string.h>

/* Appends a text in hexadecimal digits and `end`. */
static void AddHex(GString* out, const char* text, char end) {
  if (text == NULL) g_string_append_c(out, '-');
  for (; text != NULL && *text != '\0'; ++text) {
    g_string_append_printf(out, "%02x", (unsigned)(unsigned char)*text);
  }
  g_string_append_c(out, end);
}

typedef struct {
  const char* directory;
  int count;
  GString* types;
} Leaves;

static void WriteContent(GMimeDataWrapper* content, const char* path) {
  FILE* file = fopen(path, "wb");
  if (file == NULL) return;
  GMimeStream* out = g_mime_stream_file_new(file);
  if (content != NULL) g_mime_data_wrapper_write_to_stream(content, out);
  g_mime_stream_flush(out);
  g_object_unref(out);
}

static void AddLeaf(Leaves* leaves, GMimeObject* object, GMimeDataWrapper* content) {
  char* path = g_strdup_printf("%s/%d", leaves->directory, leaves->count++);
  WriteContent(content, path);
  g_free(path);
  char* type = g_mime_content_type_get_mime_type(g_mime_object_get_content_type(object));
  g_string_append_printf(leaves->types, "%s\t", type);
  g_free(type);
  AddHex(leaves->types, GMIME_IS_PART(object) ? g_mime_part_get_filename((GMimePart*)object) : NULL,
         '\n');
}

static void AddAddresses(GString* out, InternetAddressList* list, char end) {
  const gboolean some = list != NULL && internet_address_list_length(list) > 0;
  char* text = some ? internet_address_list_to_string(list, NULL, FALSE) : NULL;
  AddHex(out, text, end);
  g_free(text);
}

static void AddHeader(GString* out, GMimeMessage* message) {
  AddHex(out, g_mime_message_get_subject(message), '\t');
  AddAddresses(out, g_mime_message_get_from(message), '\t');
  AddAddresses(out, g_mime_message_get_to(message), '\t');
  AddAddresses(out, g_mime_message_get_cc(message), '\n');
}

static void Walk(Leaves* leaves, GMimeObject* top) {
  GPtrArray* open = g_ptr_array_new();
  g_ptr_array_add(open, top);
  while (open->len > 0) {
    GMimeObject* object = g_ptr_array_remove_index(open, open->len - 1);
    if (object == NULL) continue;
    if (GMIME_IS_MULTIPART(object)) {
      for (int i = g_mime_multipart_get_count((GMimeMultipart*)object); i > 0; --i) {
        g_ptr_array_add(open, g_mime_multipart_get_part((GMimeMultipart*)object, i - 1));
      }
    } else if (GMIME_IS_MESSAGE_PART(object)) {
      GMimeMessage* message = g_mime_message_part_get_message((GMimeMessagePart*)object);
      if (message == NULL) {
        AddLeaf(leaves, object, NULL);
      } else {
        g_ptr_array_add(open, g_mime_message_get_mime_part(message));
      }
    } else if (GMIME_IS_PART(object)) {
      AddLeaf(leaves, object, g_mime_part_get_content((GMimePart*)object));
    } else {
      AddLeaf(leaves, object, NULL);
    }
  }
  g_ptr_array_free(open, TRUE);
}

static void Dump(const char* file, const char* directory) {
  Leaves leaves = {directory, 0, g_string_new(NULL)};
  GMimeMessage* message = NULL;
  GMimeStream* stream = g_mime_stream_file_open(file, "rb", NULL);
  if (stream != NULL) {
    GMimeParser* parser = g_mime_parser_new_with_stream(stream);
    g_object_unref(stream);
    message = g_mime_parser_construct_message(parser, NULL);
    g_object_unref(parser);
  }
  if (message != NULL) {
    Walk(&leaves, g_mime_message_get_mime_part(message));
    AddHeader(leaves.types, message);
    g_object_unref(message);
  }
  printf("%d\n%s", message == NULL ? -1 : leaves.count, leaves.types->str);
  fflush(stdout);
  g_string_free(leaves.types, TRUE);
}

int main(void) {
  char line[8192];
  g_mime_init();
  while (fgets(line, sizeof line, stdin) != NULL) {
    char* tab = strchr(line, '\t');
    if (tab == NULL) return 64;
    *tab = '\0';
    tab[1 + strcspn(tab + 1, "\n")] = '\0';
    Dump(line, tab + 1);
  }
  g_mime_shutdown();
  return 0;
}

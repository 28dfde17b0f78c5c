/* See from_c.h. */
#include "rfc822/from_c.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <qob3xapi/header822.h>
#include <qob3xapi/lineio.h>

static char* Copy(const char* text) {
  char* copy = malloc(strlen(text) + 1);
  if (copy != NULL) strcpy(copy, text);
  return copy;
}

static void Add(char* out, size_t size, const char* text) {
  const size_t used = strlen(out);
  snprintf(out + used, size - used, "%s", text == NULL ? "(null)" : text);
}

static void AddTable(char* out, size_t size, const RecipTbl* table) {
  for (const RecipNode* node = table->head; node != NULL; node = node->next) {
    const char* texts[] = {node->address, "|", node->localPart, "|", node->domain, "|",
                           node->phrase,  "|", node->comment,   "\n"};
    for (size_t i = 0; i < sizeof texts / sizeof texts[0]; ++i) Add(out, size, texts[i]);
  }
}

int32_t DescribeListFromC(const char* list, char* out, size_t size) {
  RecipTbl table = {NULL, NULL, 0};
  char* copy = Copy(list);
  const int32_t count = RecipParse(copy, &table, 1);
  out[0] = '\0';
  AddTable(out, size, &table);
  free(copy);
  return Clear_RT(&table)->count == 0 ? count : -1;
}

static void AddHeader(char* out, size_t size, const addr822* header) {
  if (header->to != NULL) AddTable(out, size, header->to->table);
  Add(out, size, header->subject);
  Add(out, size, "\n");
  for (const ms* line = header->otherHeaders; line != NULL; line = line->next) {
    Add(out, size, line->text);
    Add(out, size, "\n");
  }
  if (header->date != NULL) Add(out, size, header->date->text);
}

int32_t DescribeHeaderFromC(const char* path, char* out, size_t size) {
  int32_t lines = -1;
  int32_t status_line = -1;
  const int32_t file = fileopen(path, 0, 1);
  addr822* header = New822Header();
  const int32_t result = QOB_ParseHdr(file, header, &lines, &status_line);
  snprintf(out, size, "%d %d\n", (int)lines, (int)status_line);
  AddHeader(out, size, header);
  Free822Header(header);
  free(header);
  fileclose(file);
  return result;
}

int32_t AppendToHandMadeTableFromC(void) {
  char list[] = "a@b";
  RecipTbl table = {NULL, NULL, 1};
  int32_t count;
  table.head = calloc(1, sizeof *table.head);
  table.head->address = Copy("by@hand");
  table.tail = table.head;
  count = QOB_RecipParse(list, &table, 0);
  if (table.tail == table.head || strcmp(table.tail->address, "a@b") != 0) count = -1;
  Clear_RT(&table);
  return count;
}

int NullsFromC(void) {
  RecipTbl table = {NULL, NULL, 0};
  char list[] = "a@b";
  Free822Header(NULL);
  return Clear_RT(NULL) == NULL && RecipParse(NULL, &table, 0) == 0 &&
         RecipParse(list, NULL, 1) == 0 && RecipParse(NULL, NULL, 1) == 0 &&
         ParseHdr(-1, NULL, NULL, NULL) == 0;
}

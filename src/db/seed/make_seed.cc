// make_seed DIRECTORY TYPES PEERS [MIME.TYPES]
//
// Writes the databases that a queue directory starts with: "magicdb" from our own list of file
// types and the system's registered one, "peerdb" from a list of peers, and an empty "banuserdb".
// Run by the build.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "db/seed/peer_list.h"
#include "db/seed/seed_file.h"
#include "db/seed/type_list.h"

namespace {

int Fail(const std::string& what) {
  std::fprintf(stderr, "make_seed: %s\n", what.c_str());
  return 1;
}

bool ReadWhole(const char* path, std::string* text) {
  std::ifstream file(path, std::ios::binary);
  text->assign(std::istreambuf_iterator<char>(file), {});
  return file.good() || file.eof();
}

int Run(const std::vector<const char*>& paths) {
  std::vector<std::string> texts(paths.size());
  for (std::size_t i = 1; i < paths.size(); ++i) {
    if (!ReadWhole(paths[i], &texts[i])) return Fail(std::string("cannot read ") + paths[i]);
  }
  std::vector<qob::db::FileType> types;
  std::string fault = qob::db::ReadOwnTypes(texts[1], &types);
  if (!fault.empty()) return Fail(std::string(paths[1]) + ":" + fault);
  if (texts.size() > 3) qob::db::ReadRegisteredTypes(texts[3], &types);
  std::vector<PeerRecord> peers;
  fault = qob::db::ReadPeerList(texts[2], &peers);
  if (!fault.empty()) return Fail(std::string(paths[2]) + ":" + fault);

  fault = qob::db::WriteMagicSeed(paths[0], types);
  if (fault.empty()) fault = qob::db::WritePeerSeed(paths[0], peers);
  if (fault.empty()) fault = qob::db::WriteBanSeed(paths[0]);
  return fault.empty() ? 0 : Fail(fault);
}

}  // namespace

int main(int count, char** words) {
  if (count != 4 && count != 5) return Fail("DIRECTORY TYPES PEERS [MIME.TYPES]");
  return Run({words + 1, words + count});
}

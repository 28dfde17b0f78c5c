// Look-ups in the small databases as a program makes them: exported calls, each of which opens its
// relation for itself.
#include <benchmark/benchmark.h>
#include <qob3xapi/magic.h>
#include <qob3xapi/peer.h>
#include <qobplatform/tessera.h>

#include <filesystem>
#include <stdexcept>

#include "lookup_data.h"
#include "site.h"
#include "workload.h"

namespace {

using bench::kLookupRecords;

void Must(std::int32_t status, const char* what) {
  if (status != 0)
    throw std::runtime_error(std::string(what) + ": status " + std::to_string(status));
}

struct Bans : tesRel {
  Bans(tesseraBase& session, const std::string& directory)
      : tesRel(session, directory.c_str(), "banuserdb") {
    attach(-1);
  }
  char address[240] = {};
  void* record() override { return address; }
  std::uint32_t recordSize() const override { return sizeof address; }
};

void FillBans(const std::string& queue) {
  Must(tesRel::create(queue.c_str(), "banuserdb", 240, 0, 240, false), "create banuserdb");
  tesseraBase session;
  Bans bans(session, queue);
  for (int i = 0; i < kLookupRecords; ++i) {
    bench::Print(bans.address, bench::BannedOf(i).c_str(), i);
    Must(bans.add(), "add to banuserdb");
  }
}

// Once for all rounds.
void Fill() {
  const std::string queue = (bench::OutputDirectory() / "queue").string();
  if (!std::filesystem::create_directory(queue)) return;
  Must(tesRel::create(queue.c_str(), "magicdb", 380, 0, 4, true), "create magicdb");
  Must(tesRel::create(queue.c_str(), "peerdb", 180, 52, 128, false), "create peerdb");
  libmagic_init();
  Must(libpeer_init(), "libpeer_init");
  for (int i = 0; i < kLookupRecords; ++i) {
    const MagicRecord type = bench::MagicOf(i);
    const PeerRecord peer = bench::PeerOf(i);
    Must(InsMagicRecord(&type), "InsMagicRecord");
    Must(InsPeerRecord(&peer), "InsPeerRecord");
  }
  libmagic_fini();
  libpeer_fini();
  FillBans(queue);
}

// `texts`: what to ask, a thousand of them.
template <class Text, class Ask>
void LookUp(benchmark::State& state, Text&& text, Ask&& ask) {
  std::vector<std::string> texts;
  for (int i = 0; i < kLookupRecords; ++i) texts.push_back(text(bench::Scattered(i)));
  for (auto _ : state) {
    for (int i = 0; i < kLookupRecords; ++i) {
      if (!ask(texts[static_cast<std::size_t>(i)].c_str(), bench::Scattered(i))) {
        throw std::runtime_error("not found: " + texts[static_cast<std::size_t>(i)]);
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * kLookupRecords);
}

void PeerGetter(benchmark::State& state) {
  LookUp(state, bench::HostOf,
         [](const char* host, int number) { return GetPeerQueueRunInterval(host) == number + 1; });
}
void MagicLookup(benchmark::State& state) {
  LookUp(
      state, [](int number) { return std::string(bench::MagicOf(number).extension); },
      [](const char* extension, int) {
        MagicRecordBuffer out;
        return GetMagicFromExtension(extension, &out.record) == 0;
      });
}
void BanCheck(benchmark::State& state) {
  LookUp(state, bench::BannedOf, [](const char* address, int) { return BanUserExist(address); });
}

// The same as the library itself does below the exported calls.
void RelationLookup(benchmark::State& state) {
  const std::string queue = (bench::OutputDirectory() / "queue").string();
  LookUp(state, bench::BannedOf, [&](const char* address, int number) {
    tesseraBase session;
    Bans bans(session, queue);
    if (bans.lock(false, 0xFFFFFFFF) != 0) return false;
    bench::Print(bans.address, address, number);
    const bool found = bans.get(0) == 0;
    return bans.unlock() == 0 && found;
  });
}

BENCHMARK(PeerGetter)->Name("peer_getter")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(MagicLookup)->Name("magic_lookup")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BanCheck)->Name("ban_check")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(RelationLookup)
    ->Name("relation_lookup")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  const bench::Site site;
  Fill();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

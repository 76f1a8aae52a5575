// One row of the peer benchmark's closing table: our benchmark, the peer's
// and our scalar path's (names as registered; empty when there is none).
#ifndef QEVO_BENCH_PEERS_PEER_TABLE_H
#define QEVO_BENCH_PEERS_PEER_TABLE_H

#include <string>
#include <vector>

struct PeerRow {
    std::string name;
    std::string ours, peer, scalar;  // benchmark names
    std::string peer_name;
};

// Registers the colour-conversion and network-input cases
// (bench_preprocess_peers.cpp) and returns their table rows.
std::vector<PeerRow> register_preprocess_peers();

#endif

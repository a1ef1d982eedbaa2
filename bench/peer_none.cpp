#include "bench/peer.h"

const PeerOps *const g_pstPeer = nullptr;

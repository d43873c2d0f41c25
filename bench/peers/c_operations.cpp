#include "bench/peers/c_operations.h"

#include <cstdio>

#include "bench/peers/operations.h"

namespace {

/// `views` points to the texts in `owned`, which must not change.
struct OwnedAgents : c_agents {
  std::vector<operations::Agent> owned;
  std::vector<c_agent> views;
};

void CopyText(char* text, size_t capacity, const char* value) {
  std::snprintf(text, capacity, "%s", value);
}

template <typename Work>
int CatchFailure(char* text, size_t capacity, Work&& work) {
  try {
    work();
    return 0;
  } catch (const std::exception& thrown) {
    CopyText(text, capacity, thrown.what());
    return 1;
  }
}

c_agent View(const operations::Agent& agent) {
  operations::ShowsNodeType();
  return {agent.uuid.c_str(),
          agent.address.c_str(),
          agent.zelnic.c_str(),
          agent.hostname.c_str(),
          agent.thumbprint.c_str(),
          agent.subClusterUuid.c_str(),
          static_cast<long>(agent.nodeType),
          agent.port,
          agent.isSupportUnicast,
          operations::IsWitness(agent),
          operations::ShowsNodeType()};
}

}  // namespace

int c_hardware_sku(char* text, size_t capacity) {
  return CatchFailure(text, capacity,
                      [&] { CopyText(text, capacity, operations::GetHardwareSku().c_str()); });
}

int c_set_ilo_auth(const char* first, const char* second, char* text, size_t capacity) {
  return CatchFailure(text, capacity, [&] { operations::SetIloAuth(first, second); });
}

int c_kms_status(const char* cluster, const char* key, int seconds, char* good, char* text,
                 size_t capacity) {
  return CatchFailure(text, capacity, [&] {
    const operations::Status status = operations::CheckKmsStatus(cluster, key, seconds);
    *good = status.good ? 1 : 0;
    CopyText(text, capacity, status.reason.c_str());
  });
}

int c_decrypt_2k_block(const char* dek, unsigned long position, const char* block, char* output,
                       char* text, size_t capacity) {
  return CatchFailure(text, capacity,
                      [&] { operations::Decrypt2kBlock(dek, position, block, output); });
}

c_agents* c_unicast_agents(int includeExtra, char* text, size_t capacity) {
  auto* const listed = new OwnedAgents;
  const int status = CatchFailure(text, capacity, [&] {
    listed->owned = operations::GetUnicastAgents(includeExtra != 0);
    listed->views.reserve(listed->owned.size());
    for (const operations::Agent& agent : listed->owned) {
      listed->views.push_back(View(agent));
    }
    listed->count = listed->views.size();
    listed->agents = listed->views.data();
  });
  if (status != 0) {
    delete listed;
    return nullptr;
  }
  return listed;
}

void c_free_agents(c_agents* agents) { delete static_cast<OwnedAgents*>(agents); }

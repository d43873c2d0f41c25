// The cluster of the embedded host, and its unicast mode. A host without a cluster has a cluster
// configuration that is not enabled.
#include "embedded_host/operation/host_system.h"
#include "embedded_host/operation/operation.h"
#include "embedded_host/store/settings.h"
#include "platform/quelt_util.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

std::shared_ptr<ClusterConfig> EmbeddedHostSystem::GetClusterConfig(bool flag) {
  return Operation("GetClusterConfig", {{"flag", flag}}).Read([](Connection& db) {
    auto config = std::make_shared<ClusterConfig>();
    config->enabled = FindSetting(db, "clusterEnabled") == "1";
    return config;
  });
}

std::string EmbeddedHostSystem::GetClusterId() {
  return Operation("GetClusterId").Read([](Connection& db) {
    std::optional<std::string> id = FindSetting(db, "clusterId");
    if (!id) {
      throw QueltCtlException("The host belongs to no cluster");
    }
    return std::move(*id);
  });
}

}  // namespace quelt

namespace ZelCtl::Quelt {

void QueltUtil::GetUnicastModeForCluster(bool& mode, std::string clusterId) {
  mode = quelt::Operation("GetUnicastModeForCluster", {{"clusterId", clusterId}})
             .Read([&](quelt::Connection& db) {
               quelt::Rows rows =
                   db.Query("SELECT is_on FROM unicast_mode WHERE cluster = ?", clusterId);
               if (!rows.Next()) {
                 throw HostCtl::Lib::Quelt::QueltCtlException("The unicast mode of cluster \"" +
                                                              clusterId + "\" is not known");
               }
               return rows.Boolean(0);
             });
}

}  // namespace ZelCtl::Quelt

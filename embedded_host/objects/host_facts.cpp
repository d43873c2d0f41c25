// The capacity and the used space of the host.
#include "embedded_host/objects/space.h"
#include "embedded_host/operation/operation.h"
#include "embedded_host/text/uuid_text.h"
#include "platform/quelt_util.h"

namespace ZelCtl::Quelt {

void QueltUtil::GetCapacityAndFSOverheadFromNorim(
    QUELTUUID host, unsigned long* physicalCapacity, unsigned long* physicalUsed,
    unsigned long* logicalCapacity, unsigned long* logicalUsed, unsigned long* dedupMetadataSize,
    unsigned long* logicalFSOverhead, unsigned long* blkAttrOverhead, unsigned long* transientSpace,
    unsigned long* physicalTransientSpace) {
  const std::string hostText = quelt::UuidText(host.bytes);
  const quelt::Space space =
      quelt::Operation("GetCapacityAndFSOverheadFromNorim", {{"host", hostText}})
          .Snapshot([&](quelt::Connection& db) {
            if (hostText != quelt::UuidText(quelt::UuidBytes{})) {
              throw HostCtl::Lib::Quelt::QueltCtlException("Host " + hostText +
                                                           " is not this host");
            }
            return quelt::ReadSpace(db);
          });
  const auto figure = [](std::int64_t bytes) { return static_cast<unsigned long>(bytes); };
  *physicalCapacity = figure(space.physicalCapacity);
  *physicalUsed = figure(space.PhysicalUsed());
  *logicalCapacity = figure(space.LogicalCapacity());
  *logicalUsed = figure(space.LogicalUsed());
  *dedupMetadataSize = figure(space.dedupMetadata);
  *logicalFSOverhead = figure(space.FsOverhead());
  *blkAttrOverhead = figure(space.BlockAttributes());
  *transientSpace = figure(space.transient);
  *physicalTransientSpace = figure(space.physicalTransient);
}

}  // namespace ZelCtl::Quelt

// Capacity and overhead figures of this host.
#include <string>
#include <unordered_map>

#include "module/call_frame.h"
#include "module/result_dict.h"
#include "objects/functions.h"
#include "platform/quelt_util.h"

namespace pyquelt {

using ZelCtl::Quelt::QueltUtil;

namespace {

/// The host library's figures, in bytes.
struct HostFigures {
  unsigned long physicalCapacity = 0;
  unsigned long physicalUsed = 0;
  unsigned long logicalCapacity = 0;
  unsigned long logicalUsed = 0;
  unsigned long dedupMetadataSize = 0;
  unsigned long logicalFSOverhead = 0;
  unsigned long blkAttrOverhead = 0;
  unsigned long transientSpace = 0;
  unsigned long physicalTransientSpace = 0;
};

using FiguresByName = std::unordered_map<std::string, unsigned long>;

FiguresByName ByName(const HostFigures& figures) {
  return {
      {"physicalCapacity", figures.physicalCapacity},
      {"physicalUsed", figures.physicalUsed},
      {"logicalCapacity", figures.logicalCapacity},
      {"logicalUsed", figures.logicalUsed},
      {"dedupMetadataSize", figures.dedupMetadataSize},
      {"logicalFSOverhead", figures.logicalFSOverhead},
      {"blkAttrOverhead", figures.blkAttrOverhead},
      {"transientSpace", figures.transientSpace},
      {"physicalTransientSpace", figures.physicalTransientSpace},
  };
}

PyObject* NewFiguresDict(const FiguresByName& figures) {
  ResultDict dict({"PyDict_New result failed!", "PyDict_SetItemString failed!"});
  for (const auto& [name, figure] : figures) {
    dict.SetInterned(name.c_str(), figure);
  }
  return dict.Release();
}

}  // namespace

PyObject* PyGetHostInfo() {
  HostFigures figures;
  return CallPlatform(
      OnStdException(PyExc_ValueError),
      [&] {
        QueltUtil::GetCapacityAndFSOverheadFromNorim(
            QUELTUUID{}, &figures.physicalCapacity, &figures.physicalUsed, &figures.logicalCapacity,
            &figures.logicalUsed, &figures.dedupMetadataSize, &figures.logicalFSOverhead,
            &figures.blkAttrOverhead, &figures.transientSpace, &figures.physicalTransientSpace);
      },
      [&] { return NewFiguresDict(ByName(figures)); });
}

}  // namespace pyquelt

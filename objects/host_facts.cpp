// Capacity and overhead figures of this host.
#include <string>
#include <unordered_map>

#include "module/call_frame.h"
#include "module/py_ref.h"
#include "objects/functions.h"
#include "platform/quelt_util.h"

namespace pyquelt {

using ZelCtl::Quelt::QueltUtil;

namespace {

/// In bytes, as the host library reports them.
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
  PyRef dict(PyDict_New());
  if (!dict) {
    return Raise(PyExc_RuntimeError, "PyDict_New result failed!");
  }
  for (const auto& [name, figure] : figures) {
    const PyRef value(PyLong_FromUnsignedLongLong(figure));
    if (!value || PyDict_SetItemString(dict.get(), name.c_str(), value.get()) != 0) {
      PyDict_Clear(dict.get());
      return Raise(PyExc_RuntimeError, "PyDict_SetItemString failed!");
    }
  }
  return dict.release();
}

}  // namespace

PyObject* PyGetHostInfo(PyObject*, PyObject*) {
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

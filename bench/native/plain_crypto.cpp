// Decryption of a block by careful extension code that calls OpenSSL directly: it releases the GIL
// and uses one context per thread, whose key it sets and clears for each block.
#include <openssl/evp.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "bench/native/extension.h"

namespace {

constexpr Py_ssize_t kDekSize = 64;
constexpr Py_ssize_t kBlockSize = 2048;

struct FreeContext {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

EVP_CIPHER_CTX* Context() {
  thread_local const std::unique_ptr<EVP_CIPHER_CTX, FreeContext> context([] {
    EVP_CIPHER_CTX* const created = EVP_CIPHER_CTX_new();
    EVP_DecryptInit_ex2(created, EVP_CIPHER_fetch(nullptr, "AES-256-XTS", nullptr), nullptr,
                        nullptr, nullptr);
    return created;
  }());
  return context.get();
}

bool DecryptBlock(const void* dek, unsigned long long position, const void* block, void* output) {
  static const unsigned char kNoKey[kDekSize] = {};
  unsigned char tweak[16] = {};
  std::memcpy(tweak, &position, sizeof position);
  EVP_CIPHER_CTX* const context = Context();
  int length = 0;
  return EVP_DecryptInit_ex2(context, nullptr, static_cast<const unsigned char*>(dek), tweak,
                             nullptr) == 1 &&
         EVP_DecryptUpdate(context, static_cast<unsigned char*>(output), &length,
                           static_cast<const unsigned char*>(block), kBlockSize) == 1 &&
         EVP_DecryptInit_ex2(context, nullptr, kNoKey, nullptr, nullptr) == 1;
}

PyObject* Decrypt2kBlock(PyObject*, PyObject* args) {
  extension::BlockArguments given;
  if (!given.Parse(args)) {
    return nullptr;
  }
  if (given.dek.len != kDekSize || given.block.len != kBlockSize) {
    return PyErr_Format(PyExc_RuntimeError, "wrong length");
  }
  PyObject* result = PyBytes_FromStringAndSize(nullptr, kBlockSize);
  if (result == nullptr) {
    return nullptr;
  }
  PyThreadState* const state = PyEval_SaveThread();
  const bool decrypted =
      DecryptBlock(given.dek.buf, given.position, given.block.buf, PyBytes_AS_STRING(result));
  PyEval_RestoreThread(state);
  if (!decrypted) {
    Py_CLEAR(result);
    PyErr_SetString(PyExc_ValueError, "cannot be decrypted");
  }
  return result;
}

/// raw_loop(count): seconds per block, without the interpreter.
PyObject* RawLoop(PyObject*, PyObject* args) {
  long count = 0;
  if (!PyArg_ParseTuple(args, "l", &count)) {
    return nullptr;
  }
  const unsigned char dek[kDekSize] = {1, 2, 3};
  static unsigned char block[kBlockSize];
  const double start = extension::ProcessorSeconds();
  for (long i = 0; i < count; ++i) {
    DecryptBlock(dek, static_cast<unsigned long long>(i), block, block);
  }
  return PyFloat_FromDouble((extension::ProcessorSeconds() - start) / static_cast<double>(count));
}

/// raw_threads(threads, count): wall time in seconds per block of `count` blocks, divided among
/// native threads.
PyObject* RawThreads(PyObject*, PyObject* args) {
  long threads = 0;
  long count = 0;
  if (!PyArg_ParseTuple(args, "ll", &threads, &count)) {
    return nullptr;
  }
  const auto decryptShare = [share = count / threads] {
    const unsigned char dek[kDekSize] = {1, 2, 3};
    unsigned char block[kBlockSize] = {};
    for (long i = 0; i < share; ++i) {
      DecryptBlock(dek, static_cast<unsigned long long>(i), block, block);
    }
  };
  PyThreadState* const state = PyEval_SaveThread();
  const auto start = std::chrono::steady_clock::now();
  {
    std::vector<std::jthread> workers;
    for (long i = 0; i < threads; ++i) {
      workers.emplace_back(decryptShare);
    }
  }
  const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
  PyEval_RestoreThread(state);
  return PyFloat_FromDouble(spent.count() / static_cast<double>(count));
}

PyMethodDef kMethods[] = {{"Decrypt2kBlock", Decrypt2kBlock, METH_VARARGS, nullptr},
                          {"raw_loop", RawLoop, METH_VARARGS, nullptr},
                          {"raw_threads", RawThreads, METH_VARARGS, nullptr},
                          {nullptr, nullptr, 0, nullptr}};
PyModuleDef kModule = extension::Define("plain_crypto", kMethods);

}  // namespace

extern "C" __attribute__((visibility("default"))) PyObject* PyInit_plain_crypto() {
  PyObject* const module = PyModule_Create(&kModule);
#ifdef Py_GIL_DISABLED
  PyUnstable_Module_SetGIL(module, Py_MOD_GIL_NOT_USED);
#endif
  return module;
}

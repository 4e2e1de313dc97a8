// What every object that hosts hold has: a count of references, late binding by the type library,
// the description of its class, error information.
//
// Lifetime: an object ends with its last reference; the library stays loaded until the last object
// ended. Threading: see edge.h.
#pragma once

#include <atomic>

#include "com/module.h"

namespace kelvane::com {

// An object with a count of references that keeps the library loaded. It begins with the reference
// of whoever made it.
template <class Self, class... Interfaces>
class Counted : public Interfaces... {
 public:
  Counted() { ++liveObjects(); }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete static_cast<Self*>(this);
    return left;
  }

 protected:
  virtual ~Counted() { --liveObjects(); }

 private:
  std::atomic<ULONG> references_{1};
};

// One that has a single interface.
template <class Self, class Interface>
class Single : public Counted<Self, Interface> {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!object) return E_POINTER;
    const bool known = id == __uuidof(IUnknown) || id == __uuidof(Interface);
    *object = known ? static_cast<Interface*>(this) : nullptr;
    if (!known) return E_NOINTERFACE;
    this->AddRef();
    return S_OK;
  }
};

// An object with the dual interface `Interface`. Its identity as a class of this library is `Self`:
// see ours().
template <class Self, class Interface>
class Object : public Counted<Self, Interface, ISupportErrorInfo, IProvideClassInfo> {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!object) return E_POINTER;
    if (id == Self::kClass) {
      *object = static_cast<Self*>(this);
    } else if (id == __uuidof(ISupportErrorInfo)) {
      *object = static_cast<ISupportErrorInfo*>(this);
    } else if (id == __uuidof(IProvideClassInfo)) {
      *object = static_cast<IProvideClassInfo*>(this);
    } else if (id == __uuidof(IUnknown) || id == __uuidof(IDispatch) || isInterface(id)) {
      *object = static_cast<Interface*>(this);
    } else {
      *object = further(id);
    }
    if (!*object) return E_NOINTERFACE;
    this->AddRef();
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    return guarded([&] { answer(count) = 1; });
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT number, LCID, ITypeInfo** info) override {
    if (number != 0) return DISP_E_BADINDEX;
    return guarded([&] { answer(info) = describe(__uuidof(Interface)).detach(); });
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                          DISPID* ids) override {
    HRESULT found = E_FAIL;
    const HRESULT result = guarded([&] { found = description().GetIDsOfNames(names, count, ids); });
    return FAILED(result) ? result : found;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* arguments,
                                   VARIANT* result, EXCEPINFO* exception,
                                   UINT* badArgument) override {
    HRESULT called = E_FAIL;
    const HRESULT described = guarded([&] {
      called = description().Invoke(static_cast<Interface*>(this), member, flags, arguments, result,
                                    exception, badArgument);
    });
    return FAILED(described) ? described : called;
  }

  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID id) override {
    return id == __uuidof(IDispatch) || isInterface(id) ? S_OK : S_FALSE;
  }

  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** info) override {
    return guarded([&] { answer(info) = describe(Self::kClass).detach(); });
  }

 protected:
  // Interfaces that the class has beside its own.
  virtual void* further(REFIID) { return nullptr; }
  // Whether the class's own interface is known by that identifier.
  virtual bool isInterface(REFIID id) const { return id == __uuidof(Interface); }

 private:
  ITypeInfo& description() {
    if (!description_) description_ = describe(__uuidof(Interface));
    return *description_;
  }

  Pointer<ITypeInfo> description_;
};

// A new object, with the caller's reference to it.
template <class Self, class... Arguments>
Pointer<Self> create(Arguments&&... arguments) {
  return Pointer<Self>::taking(new Self(std::forward<Arguments>(arguments)...));
}

// An object that a host hands over as an interface of this library, as what it is here. Unset for
// an unset one; raises RuntimeError(typeMismatch) for an object that is of the host's own making.
template <class Self>
Pointer<Self> ours(IUnknown* object) {
  Pointer<Self> self;
  if (object &&
      FAILED(object->QueryInterface(Self::kClass, reinterpret_cast<void**>(self.receive()))))
    throw RuntimeError(ErrorNumber::typeMismatch,
                       u"The object is not one of this library's classes");
  return self;
}

// Answers with one more reference to an object, or with none.
template <class Interface, class Self>
void hand(Interface** place, const Pointer<Self>& object) {
  answer(place) = Pointer<Self>(object).detach();
}

}  // namespace kelvane::com

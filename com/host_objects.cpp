#include "com/host_objects.h"

#include <array>

namespace kelvane::com {
namespace {

constexpr const wchar_t* kTitle = L"Kelvane";

bool hasDesktop() {
  USEROBJECTFLAGS flags{};
  return GetUserObjectInformationW(GetProcessWindowStation(), UOI_FLAGS, &flags, sizeof flags,
                                   nullptr) &&
         (flags.dwFlags & WSF_VISIBLE);
}

void log(const std::u16string& text) {
  HANDLE log = RegisterEventSourceW(nullptr, kTitle);
  if (!log) return;
  const wchar_t* lines[] = {wide(text)};
  ReportEventW(log, EVENTLOG_WARNING_TYPE, 0, 0, nullptr, 1, 0, lines, nullptr);
  DeregisterEventSource(log);
}

class WindowsHost final : public Host {
 public:
  void MessageBox(std::u16string_view text, MessageIcon icon) override {
    const std::u16string message(text);
    const UINT style =
        MB_OK | MB_TASKMODAL | (icon == MessageIcon::exclamation ? UINT{MB_ICONEXCLAMATION} : 0U);
    if (!hasDesktop() || MessageBoxW(nullptr, wide(message), kTitle, style) == 0) log(message);
  }
  void DoEvents() override {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      if (message.message == WM_QUIT) {
        // It is for the host's own loop.
        PostQuitMessage(static_cast<int>(message.wParam));
        return;
      }
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
  }
};

template <VARTYPE Type, class Value>
VARIANT reference(Value& value) {
  VARIANT argument{};
  argument.vt = VT_BYREF | Type;
  argument.byref = &value;
  return argument;
}

// A sink that is called by its interface.
class TypedSink final : public kelvane::IDBFetchEvents {
 public:
  explicit TypedSink(Pointer<::IDBFetchEvents> sink) : sink_(std::move(sink)) {}

  void StartProcessing(const std::u16string& Status, const Boolean& SupportProgressBar,
                       const kelvane::enumObjectType& ObjectType) override {
    Variant status{std::u16string_view(Status)};
    VARIANT_BOOL support = SupportProgressBar.raw();
    auto type = static_cast<::enumObjectType>(ObjectType);
    check(sink_->StartProcessing(&status->bstrVal, &support, &type));
  }
  void Processing(const std::u16string& Status, const std::int16_t& Progress,
                  const kelvane::enumObjectType& ObjectType) override {
    Variant status{std::u16string_view(Status)};
    SHORT progress = Progress;
    auto type = static_cast<::enumObjectType>(ObjectType);
    check(sink_->Processing(&status->bstrVal, &progress, &type));
  }
  void EndProcessing(const kelvane::enumObjectType& ObjectType) override {
    auto type = static_cast<::enumObjectType>(ObjectType);
    check(sink_->EndProcessing(&type));
  }

 private:
  static void check(HRESULT result) { require(result, u"The progress sink failed"); }

  Pointer<::IDBFetchEvents> sink_;
};

// A sink that is called by the names of its methods.
class NamedSink final : public kelvane::IDBFetchEvents {
 public:
  explicit NamedSink(Automation sink) : sink_(std::move(sink)) {}

  void StartProcessing(const std::u16string& Status, const Boolean& SupportProgressBar,
                       const kelvane::enumObjectType& ObjectType) override {
    Variant status{std::u16string_view(Status)};
    VARIANT_BOOL support = SupportProgressBar.raw();
    LONG type = ObjectType;
    sink_.call(L"StartProcessing", std::array{reference<VT_BSTR>(status->bstrVal),
                                              reference<VT_BOOL>(support), reference<VT_I4>(type)});
  }
  void Processing(const std::u16string& Status, const std::int16_t& Progress,
                  const kelvane::enumObjectType& ObjectType) override {
    Variant status{std::u16string_view(Status)};
    SHORT progress = Progress;
    LONG type = ObjectType;
    sink_.call(L"Processing", std::array{reference<VT_BSTR>(status->bstrVal),
                                         reference<VT_I2>(progress), reference<VT_I4>(type)});
  }
  void EndProcessing(const kelvane::enumObjectType& ObjectType) override {
    LONG type = ObjectType;
    sink_.call(L"EndProcessing", std::array{reference<VT_I4>(type)});
  }

 private:
  Automation sink_;
};

}  // namespace

Host& windowsHost() {
  static WindowsHost host;  // without state
  return host;
}

std::u16string HostNames::Item(std::int32_t position) const {
  Variant name;
  object_.item(position, name);
  return textOf(*name);
}

std::shared_ptr<kelvane::IDBFetchEvents> sinkFor(IDispatch* object) {
  if (!object) throw RuntimeError(ErrorNumber::notSet, u"There is no progress sink");
  const Pointer<IDispatch> sink(object);
  if (auto typed = sink.as<::IDBFetchEvents>())
    return std::make_shared<TypedSink>(std::move(typed));
  return std::make_shared<NamedSink>(Automation(sink));
}

}  // namespace kelvane::com

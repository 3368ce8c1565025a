// SPDX-License-Identifier: Apache-2.0
#include "errors.h"

#include <database_provider/records.h>
#include <nanobind/nanobind.h>

#include <string>

#include "Connection.h"
#include "values.h"

namespace database_provider::python {

namespace {

using database_client::Error;

const char* exceptionOf(Error::Kind kind) {
  switch (kind) {
    case Error::Kind::connection:
      return "ConnectionError";
    case Error::Kind::timeout:
      return "TimeoutError";
    case Error::Kind::authentication:
      return "AuthenticationError";
    case Error::Kind::authorization:
      return "AuthorizationError";
    case Error::Kind::duplicateKey:
      return "DuplicateKeyError";
    case Error::Kind::document:
      return "DocumentError";
    case Error::Kind::query:
      return "QueryError";
    case Error::Kind::unsupported:
      return "NotSupportedError";
    case Error::Kind::storage:
      return "StorageError";
    case Error::Kind::cancelled:
      return "CancelledError";
    default:
      return "ServerError";
  }
}

nb::object errorType(const char* name) {
  return nb::module_::import_("database_provider._errors").attr(name);
}

void raise(const nb::object& error) {
  PyErr_SetObject(nb::handle(error.type()).ptr(), error.ptr());
}

/// Positions of the library count bytes of UTF-8, those of Python characters.
std::size_t characterAt(const std::string& text, std::size_t byte) {
  std::size_t result = 0;
  for (std::size_t i = 0; i < byte && i < text.size(); ++i) {
    constexpr unsigned mask = 0xC0;
    constexpr unsigned continuation = 0x80;
    if ((static_cast<unsigned char>(text[i]) & mask) != continuation) ++result;
  }
  return result;
}

void translate(const std::exception_ptr& exception, void* /*payload*/) {
  try {
    std::rethrow_exception(exception);
  } catch (const Error& error) {
    nb::object raised = errorType(exceptionOf(error.kind()))(textToPython(error.what()));
    raised.attr("code") = error.code();
    raised.attr("retryable") = error.retryable();
    raised.attr("outcome_unknown") = error.outcomeUnknown();
    raised.attr("where") = textToPython(error.where());
    raise(raised);
  } catch (const SelectionError& error) {
    nb::object raised = errorType("FilterError")(textToPython(error.what()));
    raised.attr("reason") = textToPython(error.reason());
    raised.attr("filter") = textToPython(error.text());
    raised.attr("position") = characterAt(error.text(), error.position());
    raise(raised);
  } catch (const FormulaError& error) {
    nb::object raised = errorType("FormulaError")(textToPython(error.what()));
    raised.attr("reason") = textToPython(error.reason());
    raised.attr("position") = error.position();
    raise(raised);
  } catch (const ImportError& error) {
    raise(errorType("RowsError")(textToPython(error.what())));
  } catch (const Failure& error) {
    raise(errorType(error.name)(textToPython(error.what())));
  }
}

}  // namespace

void registerErrors() {
  nb::register_exception_translator(translate);
}

}  // namespace database_provider::python

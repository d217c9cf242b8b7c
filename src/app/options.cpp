#include "app/options.h"

#include <array>

#include "util/number.h"
#include "util/print.h"
#include "util/text.h"

namespace {

struct Option {
  const char* pWord;
  int (*pfApply)(RunSettings* pSettings, const char* pValue);
};

/// Parses a number into a setting. On failure the setting does not change.
int ParseInto(uint32_t* pSetting, const char* pValue) {
  uint32_t Value = 0;
  if (UTIL_ParseHex32(&pValue, &Value) != 0) {
    return -1;
  }
  *pSetting = Value;
  return 0;
}

int ApplyBaseAddr(RunSettings* pSettings, const char* pValue) {
  return ParseInto(&pSettings->BaseAddr, pValue);
}

int ApplyOutputBase(RunSettings* pSettings, const char* pValue) {
  pSettings->pOutputBase = pValue;
  return 0;
}

int ApplyAlignment(uint32_t* pSetting, const char* pValue, const char* pName) {
  const int Status = ParseInto(pSetting, pValue);
  if (Status == 0) {
    UTIL_Printf("Set %s alignment to %u.\n", pName, *pSetting);  // decimal: who typed 8192 sees that it means 33170
  }
  return Status;
}

int ApplyBlockAlign(RunSettings* pSettings, const char* pValue) {
  return ApplyAlignment(&pSettings->BlockAlign, pValue, "block");
}

int ApplyLineAlign(RunSettings* pSettings, const char* pValue) {
  return ApplyAlignment(&pSettings->LineAlign, pValue, "line");
}

constexpr std::array<Option, 8> OPTION_TABLE = {{
    {"-a", ApplyBaseAddr},
    {"-BaseAddr", ApplyBaseAddr},
    {"-o", ApplyOutputBase},
    {"-Out", ApplyOutputBase},
    {"-balign", ApplyBlockAlign},
    {"-BlockAlign", ApplyBlockAlign},
    {"-lalign", ApplyLineAlign},
    {"-LineAlign", ApplyLineAlign},
}};

}  // namespace

int APP_ApplyOption(RunSettings* pSettings, const char* pWord, const char* pValue) {
  for (const Option& Row : OPTION_TABLE) {
    if (UTIL_CompareNoCase(pWord, Row.pWord) == 0) {
      return Row.pfApply(pSettings, pValue);
    }
  }
  return -1;
}

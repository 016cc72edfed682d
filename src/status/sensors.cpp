// Hardware sensors: temperature and supply voltages out of the sensor file, speed and voltage of the processor out of
// the firmware's own tables. Contracts as for all numeric ids.

#include <syslog.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "config/handlers.h"
#include "status/reading.h"

namespace {

// One reading a line: its name, a colon or blanks, its value; the names are those of the handlers below.
constexpr char kSensorPath[] = "/proc/zelmar-sensor";

struct ReadingText {
  char text[32];
};

bool readSensor(const char* wanted, ReadingText& out) {
  std::FILE* const sensors = std::fopen(kSensorPath, "re");
  bool found = false;
  if (sensors != nullptr) {
    char line[128];
    char name[32];
    while (!found && std::fgets(line, sizeof(line), sensors) != nullptr) {
      found = std::sscanf(line, " %31[^: \t\n]%*[: \t]%31s", name, out.text) == 2 && std::strcmp(name, wanted) == 0;
    }
    (void)std::fclose(sensors);
  }
  if (!found) syslog(LOG_ERR, "Error: Hardware monitoring read proc file error\n");
  return found;
}

int giveVoltage(const char* name, int size, void* buffer, int* lengthOut) {
  ReadingText reading;
  if (!readSensor(name, reading)) return -1;
  return giveText(size, buffer, lengthOut, reading.text);
}

// The first word that a command prints; a machine with several processors has a line for each.
int giveOutput(const char* command, int size, void* buffer, int* lengthOut) {
  std::FILE* const output = popen(command, "re");
  if (output == nullptr) return -1;
  ReadingText word;
  const bool found = std::fscanf(output, "%31s", word.text) == 1;
  (void)pclose(output);
  return found ? giveText(size, buffer, lengthOut, word.text) : -1;
}

}  // namespace

extern "C" int get_CPU_SPEED(int size, void* buffer, int* lengthOut) {
  return giveOutput("/sbin/dmidecode | grep CPU | awk '{print $3}'", size, buffer, lengthOut);
}

extern "C" int get_CPU_VOLTAGE(int size, void* buffer, int* lengthOut) {
  return giveOutput("/sbin/dmidecode | grep \"Processor Voltage\" | awk '{print $3}'", size, buffer, lengthOut);
}

// Degrees Celsius as an integer, fractions dropped.
extern "C" int get_CPU_Temp(int size, void* buffer, int* lengthOut) {
  ReadingText reading;
  if (!readSensor("CPU_Temp", reading)) return -1;
  char* end = nullptr;
  const long long degrees = std::strtoll(reading.text, &end, 10);
  if (end == reading.text || degrees < INT32_MIN || degrees > INT32_MAX) return -1;
  const auto value = static_cast<std::int32_t>(degrees);
  return giveBytes(size, buffer, lengthOut, &value, sizeof(value));
}

extern "C" int get_SYS_VOLTAGE_33(int size, void* buffer, int* lengthOut) {
  return giveVoltage("SYS_VOLTAGE_33", size, buffer, lengthOut);
}

extern "C" int get_SYS_VOLTAGE_5(int size, void* buffer, int* lengthOut) {
  return giveVoltage("SYS_VOLTAGE_5", size, buffer, lengthOut);
}

extern "C" int get_SYS_VOLTAGE_12(int size, void* buffer, int* lengthOut) {
  return giveVoltage("SYS_VOLTAGE_12", size, buffer, lengthOut);
}

extern "C" int get_SYS_VOLTAGE_M12V(int size, void* buffer, int* lengthOut) {
  return giveVoltage("SYS_VOLTAGE_M12V", size, buffer, lengthOut);
}

extern "C" int get_SYS_VOLTAGE_5VSB(int size, void* buffer, int* lengthOut) {
  return giveVoltage("SYS_VOLTAGE_5VSB", size, buffer, lengthOut);
}

extern "C" int get_SYS_VOLTAGE_33VSB(int size, void* buffer, int* lengthOut) {
  return giveVoltage("SYS_VOLTAGE_33VSB", size, buffer, lengthOut);
}

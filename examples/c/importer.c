/*
 * A tool in C that tells what it did: importer CAPTURE-URL DIRECTORY
 */

#include <Kova/KovaC.h>
#include <stdio.h>

static int start(const char* capture_url, const char* directory) {
  kova_status status;
  kova_settings* settings = kova_settings_new();
  kova_settings_set_text(settings, "name", "Importer", KOVA_WHOLE);
  kova_settings_set_text(settings, "identifier", "com.example.importer", KOVA_WHOLE);
  kova_settings_set_text(settings, "version", "2.1", KOVA_WHOLE);
  kova_settings_set_text(settings, "directory", directory, KOVA_WHOLE);
  kova_settings_set_text(settings, "captureBaseUrl", capture_url, KOVA_WHOLE);
  kova_settings_set_flag(settings, "assumesNetwork", 1); /* the service is on this machine */
  status = kova_start("1234567890", KOVA_WHOLE, settings);
  kova_settings_free(settings);
  return status == KOVA_OK;
}

static void tell(void) {
  const char json[] = "{\"rows\": 1200, \"dry run\": false}";
  kova_properties* properties = kova_properties_new();
  kova_properties_set_text(properties, "from", "caf\xc3\xa9.csv", KOVA_WHOLE);
  kova_properties_set_integer(properties, "files", 3);
  kova_properties_set_flag(properties, "complete", 1);
  kova_track("Import started", KOVA_WHOLE, properties);
  kova_properties_free(properties);

  kova_identify("ada", KOVA_WHOLE);
  properties = kova_properties_from_json(json, sizeof json - 1);
  kova_track("Import finished", KOVA_WHOLE, properties);
  kova_properties_free(properties);
}

int main(int argc, char** argv) {
  char user[17];
  if (argc != 3 || !start(argv[1], argv[2])) {
    fprintf(stderr, "usage: importer CAPTURE-URL DIRECTORY\n");
    return 2;
  }
  tell();
  kova_user_id(user, sizeof user);
  printf("user %s\n", user);
  return kova_shutdown(10.0) & KOVA_STORED ? 0 : 1;
}

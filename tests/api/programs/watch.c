/* Watches an emulated bus while its only camera is pulled out and plugged in again. */
#include <orqcam/orqcam.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

enum { PATIENCE_S = 60 };

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t changed = PTHREAD_COND_INITIALIZER;
static int plugged = 0, unplugged = 0;
static char last[2][64]; /* names of the last camera that was unplugged, and that was plugged in */

static void told(void* user, int32_t plugged_in, const orq_camera_entry* entry) {
  pthread_mutex_lock(&mutex);
  ++*(plugged_in ? &plugged : &unplugged);
  snprintf(last[plugged_in != 0], sizeof last[0], "%s", entry->name);
  pthread_cond_broadcast(&changed);
  pthread_mutex_unlock(&mutex);
  ++*(int*)user;
}

static void await(const int* count, int wanted, const char* what) {
  struct timespec end;
  clock_gettime(CLOCK_REALTIME, &end);
  end.tv_sec += PATIENCE_S;
  pthread_mutex_lock(&mutex);
  while (*count < wanted) {
    if (pthread_cond_timedwait(&changed, &mutex, &end) == 0) continue;
    printf("%s was not told\n", what);
    exit(1);
  }
  pthread_mutex_unlock(&mutex);
}

static void command(const char* path, const char* line) {
  struct sockaddr_un address = {.sun_family = AF_UNIX};
  char answer[16] = "";
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
  if (connect(fd, (const struct sockaddr*)&address, sizeof address) != 0 ||
      write(fd, line, strlen(line)) != (ssize_t)strlen(line) || read(fd, answer, sizeof answer - 1) < 3 ||
      strncmp(answer, "ok\n", 3) != 0) {
    printf("the bus does not obey: %s", line);
    exit(1);
  }
  close(fd);
}

/* watch SOCKET */
int main(int argc, char** argv) {
  orq_watch* watch = NULL;
  int calls = 0;
  if (argc != 2) return 2;
  if (orq_watch_cameras(told, &calls, &watch) != ORQ_OK) {
    printf("%s\n", orq_last_error());
    return 1;
  }
  await(&plugged, 1, "the camera that is there at first");
  command(argv[1], "unplug 0\n");
  await(&unplugged, 1, "the pull");
  command(argv[1], "replug 0\n");
  await(&plugged, 2, "the camera that is back");
  orq_watch_release(watch);
  if (calls != 3 || last[0][0] == '\0' || strcmp(last[0], last[1]) != 0) {
    printf("%d calls, '%s' and '%s'\n", calls, last[0], last[1]);
    return 1;
  }
  return 0;
}

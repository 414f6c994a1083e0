#include "media/support/PipelineDump.h"

#include <string>

#include <gst/gst.h>
#include <unistd.h>

namespace media {

void dumpPipeline(GstElement* pipeline, const char* moment) {
  if (!pipeline || !GST_IS_BIN(pipeline)) return;
  const std::string name = std::to_string(getpid()) + "-" + moment;
  GST_DEBUG_BIN_TO_DOT_FILE_WITH_TS(GST_BIN(pipeline), GST_DEBUG_GRAPH_SHOW_ALL, name.c_str());
}

}  // namespace media

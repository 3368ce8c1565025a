// SPDX-License-Identifier: Apache-2.0
import de.bwaldvogel.mongo.MongoServer;
import de.bwaldvogel.mongo.backend.memory.MemoryBackend;

public class StartServer {
  public static void main(String[] arguments) {
    new MongoServer(new MemoryBackend()).bind("127.0.0.1", Integer.parseInt(arguments[0]));
  }
}

import java.sql.Connection;
import java.sql.DriverManager;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.sql.Statement;
import java.sql.Timestamp;
import java.util.Locale;

// A client that shares no code with FreeTDS: runs the batches on standard input, parted by lines of
// "go", on the port it is given. Rows go to standard output, their values between bars, errors to
// standard error.
public class JtdsClient {
  public static void main(String[] words) throws Exception {
    Class.forName("net.sourceforge.jtds.jdbc.Driver");
    String url = "jdbc:jtds:sybase://127.0.0.1:" + words[0] + ";TDS=5.0;prepareSQL=0";
    String input = new String(System.in.readAllBytes(), "UTF-8");
    try (Connection connection = DriverManager.getConnection(url, "sa", "secret");
        Statement statement = connection.createStatement()) {
      for (String batch : input.split("\ngo\n")) run(statement, batch);
    }
  }

  private static void run(Statement statement, String batch) {
    try {
      boolean rows = statement.execute(batch);
      while (rows || statement.getUpdateCount() >= 0) {
        if (rows) draw(statement.getResultSet());
        rows = statement.getMoreResults();
      }
    } catch (SQLException failure) {
      System.err.println(failure.getErrorCode() + " " + failure.getMessage());
    }
  }

  private static void draw(ResultSet rows) throws SQLException {
    int columns = rows.getMetaData().getColumnCount();
    String[] line = new String[columns];
    for (int i = 0; i < columns; ++i) line[i] = rows.getMetaData().getColumnLabel(i + 1);
    System.out.println(String.join("|", line));
    while (rows.next()) {
      for (int i = 0; i < columns; ++i) line[i] = drawn(rows.getObject(i + 1));
      System.out.println(String.join("|", line));
    }
  }

  private static String drawn(Object value) {
    if (value == null) return "NULL";
    if (value instanceof Boolean) return (Boolean) value ? "1" : "0";
    if (value instanceof Timestamp) {
      return String.format(Locale.US, "%1$tb %1$2te %1$tY %1$tI:%1$tM%1$Tp", value);
    }
    return value.toString();
  }
}

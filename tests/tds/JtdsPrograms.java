import java.math.BigDecimal;
import java.sql.CallableStatement;
import java.sql.Connection;
import java.sql.DatabaseMetaData;
import java.sql.Date;
import java.sql.DriverManager;
import java.sql.PreparedStatement;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.sql.Time;
import java.sql.Timestamp;
import java.sql.Types;

// What programs do through jTDS: they read metadata, write values of every type with parameters,
// and call procedures. All goes to standard output, values between bars.
public class JtdsPrograms {
  public static void main(String[] words) throws Exception {
    Class.forName("net.sourceforge.jtds.jdbc.Driver");
    // The first prepares statements on the server, the second sends parameters with the text.
    for (String how : new String[] {"1", "0"}) {
      String url = "jdbc:jtds:sybase://127.0.0.1:" + words[0] + ";TDS=5.0;prepareSQL=" + how;
      try (Connection connection = DriverManager.getConnection(url, "sa", "secret")) {
        metadata(connection.getMetaData());
        values(connection);
        calls(connection);
      }
    }
  }

  private static void metadata(DatabaseMetaData data) throws SQLException {
    draw("tables", data.getTables(null, null, "t%", new String[] {"TABLE"}), 1, 2, 3, 4);
    draw("columns", data.getColumns(null, null, "goods", "%"), 4, 5, 6, 7, 9, 11);
    draw("keys", data.getPrimaryKeys(null, null, "goods"), 4, 5, 6);
    draw("references", data.getImportedKeys(null, null, "orders"), 3, 4, 7, 8, 12);
    draw("indexes", data.getIndexInfo(null, null, "orders", false, false), 4, 6, 7, 9);
    draw("procedures", data.getProcedures(null, null, "%"), 2, 3);
    draw("parameters", data.getProcedureColumns(null, null, "twice", "%"), 4, 5, 6);
    draw("best", data.getBestRowIdentifier(null, null, "goods", 0, true), 2);
    draw("types", data.getTypeInfo(), 1);
    draw("databases", data.getCatalogs(), 1);
  }

  private static void values(Connection connection) throws SQLException {
    try (PreparedStatement insert = connection.prepareStatement(
             "insert values_of values (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")) {
      int i = 0;
      insert.setInt(++i, 1);
      insert.setShort(++i, (short) -6);
      insert.setLong(++i, Long.MIN_VALUE);
      insert.setLong(++i, 4000000000L);
      insert.setBigDecimal(++i, new BigDecimal("8446744073709551615"));
      insert.setDouble(++i, 1.25);
      insert.setFloat(++i, 2.5f);
      insert.setBigDecimal(++i, new BigDecimal("-922337203685477.5807"));
      insert.setBigDecimal(++i, new BigDecimal("1234567890123456789012345678901234.5678"));
      insert.setTimestamp(++i, Timestamp.valueOf("2024-02-29 13:14:15.123"));
      insert.setDate(++i, Date.valueOf("2024-02-28"));
      insert.setTime(++i, Time.valueOf("13:14:15"));
      insert.setTimestamp(++i, Timestamp.valueOf("2024-02-29 13:14:15.123"));
      insert.setTime(++i, Time.valueOf("01:02:03"));
      insert.setString(++i, "x".repeat(280));
      insert.setString(++i, "\u03a9\u00fc");
      insert.setString(++i, "y".repeat(20000));
      insert.setString(++i, "\u03a9".repeat(300));
      insert.setBytes(++i, new byte[] {1, 2, -1});
      insert.setBytes(++i, new byte[20000]);
      insert.setBoolean(++i, true);
      System.out.println("written|" + insert.executeUpdate());
      for (int column = 2; column <= 20; ++column) insert.setNull(column, nullType(column));
      insert.setInt(1, 2);
      System.out.println("written|" + insert.executeUpdate());
    }
    try (PreparedStatement select = connection.prepareStatement(
             "select * from values_of where i in (?, ?) -- ? \norder by i")) {
      select.setInt(1, 1);
      select.setInt(2, 2);
      ResultSet rows = select.executeQuery();
      int columns = rows.getMetaData().getColumnCount();
      while (rows.next()) {
        for (int i = 1; i <= columns; ++i) {
          String value = rows.getString(i);
          boolean isLong = value != null && value.length() > 60;
          System.out.println(rows.getMetaData().getColumnLabel(i) + " "
              + rows.getMetaData().getColumnTypeName(i) + "|"
              + (isLong ? value.length() + " of " + value.charAt(0) : value));
        }
      }
      connection.createStatement().executeUpdate("delete values_of");
    }
  }

  private static int nullType(int column) {
    switch (column) {
      case 10:
      case 13:
        return Types.TIMESTAMP;
      case 11:
        return Types.DATE;
      case 12:
      case 14:
        return Types.TIME;
      case 15:
      case 16:
      case 17:
      case 18:
        return Types.VARCHAR;
      case 19:
      case 20:
        return Types.VARBINARY;
      default:
        return column < 6 ? Types.INTEGER : column < 8 ? Types.DOUBLE : Types.NUMERIC;
    }
  }

  private static void calls(Connection connection) throws SQLException {
    try (CallableStatement call = connection.prepareCall("{? = call twice(?, ?, ?)}")) {
      call.registerOutParameter(1, Types.INTEGER);
      call.setInt(2, 5);
      call.setString(3, "ab");
      call.registerOutParameter(3, Types.VARCHAR);
      call.registerOutParameter(4, Types.NUMERIC, 2);
      draw("call", call.executeQuery(), 1);
      while (call.getMoreResults() || call.getUpdateCount() >= 0) {
      }
      System.out.println(call.getInt(1) + "|" + call.getString(3) + "|" + call.getBigDecimal(4));
    }
    try (PreparedStatement wrong = connection.prepareStatement("select nosuch from goods where i = ?")) {
      wrong.setInt(1, 1);
      wrong.executeQuery();
    } catch (SQLException failure) {
      System.out.println(failure.getErrorCode());
    }
  }

  private static void draw(String title, ResultSet rows, int... columns) throws SQLException {
    System.out.println("-- " + title);
    while (rows.next()) {
      String line = "";
      for (int column : columns) line += (line.isEmpty() ? "" : "|") + rows.getString(column);
      System.out.println(line);
    }
  }
}

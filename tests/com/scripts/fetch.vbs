' A script's own objects as progress sink, list of names and preferences.
Option Explicit

Class Progress
  Public Reader
  Public Journal
  Public CancelAt
  Public Sub StartProcessing(Status, SupportProgressBar, ObjectType)
    Journal = Journal & "[" & Status & " " & SupportProgressBar & " " & ObjectType & "]"
  End Sub
  Public Sub Processing(Status, Progress, ObjectType)
    Journal = Journal & Progress & "%"
    If Status = CancelAt Then Reader.Cancel
  End Sub
  Public Sub EndProcessing(ObjectType)
    Journal = Journal & "[end " & ObjectType & "]"
  End Sub
End Class

Class Names
  Public Property Get Count()
    Count = 2
  End Property
  Public Function Item(index)
    If index = 1 Then Item = "lost" Else Item = "dbo.orders"
  End Function
End Class

Dim reader, sink
Set reader = CreateObject("Kelvane.cASE_Fetch")
Set reader.conn = connection
check.Same reader.conn Is connection, True
Set sink = New Progress
Set sink.Reader = reader
reader.AppliesTo.AllTables = True
reader.AppliesTo.AllViews = True
reader.CompareOptions.Tables = True
reader.CompareOptions.Views = True
check.Same reader.Fetch(sink), True
check.Same sink.Journal, _
  "[Starting True 8][Getting List Of Tables False 0][end -1][Retrieving Table Data True 0]100%[end 0]" & _
  "[Getting List Of Views False -1][end -1][Retrieving View Data True 1]100%[end 1][end 8]"

' Cancelled at the first table: the views are listed no more.
sink.Journal = ""
sink.CancelAt = "Retrieving properties for Table orders"
check.Same reader.Fetch(sink), True
check.Same InStr(sink.Journal, "100%") > 0, True
check.Same reader.ObjectExists(180, "dbo.v"), 0

' A list of names of which the server refuses the first: the host reads why.
reader.AppliesTo.AllTables = False
Set reader.AppliesTo.SomeTables = New Names
sink.CancelAt = ""
reader.Fetch sink
check.Same InStr(reader.LastError, "Error: #") > 0, True

' What the sink raises is the host's error.
Class Failing
  Public Sub StartProcessing(Status, SupportProgressBar, ObjectType)
    Err.Raise 1000, "Failing", "Enough"
  End Sub
End Class
On Error Resume Next
reader.Fetch New Failing
check.Same Err.Number, 1000
check.Finished

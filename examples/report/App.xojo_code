#tag Class
Protected Class App
Inherits ConsoleApplication
	#tag Note, Name = About
		A report on the host's own rows, made with SQL, CSV and JSON of Python's standard library.
	#tag EndNote


	#tag Event
		Function Run(args() as String) As Integer
		  If Not Quillix.PythonIsFound Then
		    Print "This program needs Python 2.7."
		    Return 1
		  End If
		  Quillix.Init("report")
		  Quillix.AddSearchPath(SpecialFolder.Resources)

		  If Quillix.GetModule("report") Is Nil Then
		    ' Some Python installations come without SQLite.
		    Print "The module cannot be imported: " + Quillix.GetError
		    Return 1
		  End If

		  Var console As New QuillixConsoleOutput
		  AddHandler console.ConsoleOutput, AddressOf ShowOutput
		  Quillix.SetConsoleOutput(console)

		  ' In a program, these rows would come out of a list box or a record set.
		  Var orders As New PythonList
		  orders.Append(Order("North", "Tea", 12, 450))
		  orders.Append(Order("Süd", "Coffee", 3, 1290))
		  orders.Append(Order("North", "Sugar, brown", 20, 195))
		  orders.Append(Order("West", "Tea", 7, 450))
		  orders.Append(Order("Süd", "Tea", 15, 450))

		  ShowReport(orders)

		  ' A row that the rules of the table refuse.
		  orders.Append(Order("West", "Coffee", 0, 1290))
		  ShowReport(orders)

		  Quillix.Finalize
		  Return 0
		End Function
	#tag EndEvent


	#tag Method, Flags = &h21
		Private Function Order(region As String, product As String, quantity As Integer, cents As Integer) As PythonParameters
		  ' One row, as the tuple that Python expects.
		  Var row As New PythonParameters(4)
		  row.StringValue(0) = region
		  row.StringValue(1) = product
		  row.IntegerValue(2) = quantity
		  row.IntegerValue(3) = cents
		  Return row
		End Function
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Sub ShowOutput(sender As QuillixConsoleOutput, output As String)
		  StdOut.Write(output)
		End Sub
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Sub ShowReport(orders As PythonList)
		  ' Prints the report, or why there is none.
		  Var arguments As New PythonParameters(1)
		  arguments.ListValue(0) = orders
		  Var result As PythonResult = Quillix.GetModule("report").GetFunction("make_report").Invoke(arguments)
		  If result Is Nil Then
		    ' An error that the Python code has not foreseen.
		    Print "No report: " + Quillix.GetError
		    Quillix.ClearError
		    Return
		  End If

		  Var report As PythonDictionary = result.DictionaryValue
		  If report.Contains("error") Then
		    Print "No report: " + report.StringValue("error")
		    Return
		  End If
		  Print ""
		  Print report.IntegerValue("orders").ToString + " orders, " + _
		    report.DoubleValue("total").ToString("#,##0.00") + " in all, most of it in " + report.StringValue("best")
		  Print report.StringValue("regions")

		  ' The CSV is one text; what the host does with it is the host's business.
		  Var lines() As String = report.StringValue("csv").Trim.Split(EndOfLine)
		  For i As Integer = 0 To lines.LastIndex
		    Print i.ToString + ": " + lines(i)
		  Next
		End Sub
	#tag EndMethod


	#tag ViewBehavior
	#tag EndViewBehavior
End Class
#tag EndClass

#tag Class
Protected Class App
Inherits ConsoleApplication
	#tag Note, Name = About
		Statistics of a text: a Python function that gives back several values at once.
	#tag EndNote


	#tag Event
		Function Run(args() as String) As Integer
		  If Not Quillix.PythonIsFound Then
		    Print "This program needs Python 2.7."
		    Return 1
		  End If
		  Quillix.Init("text_analysis")
		  Quillix.AddSearchPath(SpecialFolder.Resources)

		  Var console As New QuillixConsoleOutput
		  AddHandler console.ConsoleOutput, AddressOf ShowOutput
		  Quillix.SetConsoleOutput(console)

		  ' The name of the file text_analysis.py in a folder of the search path.
		  Var analysis As PythonModule = Quillix.GetModule("text_analysis")
		  If analysis Is Nil Then
		    Print "The module cannot be imported: " + Quillix.GetError
		    Return 1
		  End If

		  Var names() As String = Array("declaration.txt", "no such file.txt")
		  For Each name As String In names
		    Print name
		    Var arguments As New PythonParameters(1)
		    arguments.StringValue(0) = SpecialFolder.Resource(name).NativePath
		    Var result As PythonResult = analysis.GetFunction("try_analyse").Invoke(arguments)

		    ' Nil means that Python raised an error that nobody has caught. Taking its text clears it; a text
		    ' that cannot be read is an error of its own, which ClearError clears.
		    If result Is Nil Then
		      Print "Error in Python: " + Quillix.GetError
		      Quillix.ClearError
		      Continue
		    End If

		    ' A tuple: whether it worked, and then the values or a message.
		    Var answer As PythonParameters = result.TupleValue
		    If Not answer.BooleanValue(0) Then
		      Print "It cannot be read: " + answer.StringValue(1)
		      Continue
		    End If
		    Var found As New TextStatistics(answer.TupleValue(1))
		    Print ""
		    Print found.Words.ToString("#,##0") + " words, " + found.DifferentWords.ToString + _
		      " of them different, " + found.AverageLength.ToString("0.000") + " letters on average"
		    Print "long words: " + found.FrequentWords
		    Print "SHA-1: " + found.Hash
		    If found.IsPlainAscii Then Print "plain ASCII"
		  Next

		  Quillix.Finalize
		  Return 0
		End Function
	#tag EndEvent


	#tag Method, Flags = &h21
		Private Sub ShowOutput(sender As QuillixConsoleOutput, output As String)
		  ' What Python prints arrives here, piece by piece: a text, then the end of its line.
		  StdOut.Write(output)
		End Sub
	#tag EndMethod


	#tag ViewBehavior
	#tag EndViewBehavior
End Class
#tag EndClass
